#include "recordText.hpp"

#include <gtest/gtest.h>

#include "carrierEvent.pb.h"
#include "registerInfo.pb.h"

namespace Qdx::Pull {
namespace {

using Qdx::Records::CarrierEvent;
using Qdx::Records::RegisterInfo;

std::string shown(const CarrierEvent& event) {
    return recordText(event.SerializeAsString(), "Qdx.Records.CarrierEvent");
}

std::string shown(const RegisterInfo& info) {
    return recordText(info.SerializeAsString(), "Qdx.Records.RegisterInfo");
}

TEST(RecordText, TellsALink) {
    CarrierEvent event;
    event.set_carrier_id(4);
    event.set_carrier_name("eth0");
    event.set_kind(CarrierEvent::ACTIVATED);
    event.set_bandwidth_bps(2'500'000'000);
    event.set_reason("seen first");
    EXPECT_EQ(shown(event), "eth0 ACTIVATED, 2500 Mbit/s: seen first");
}

TEST(RecordText, TellsARadioCarrier) {
    CarrierEvent event;
    event.set_carrier_id(7);
    event.set_kind(CarrierEvent::RECONFIGURED);
    event.set_frequency_hz(3'510'050'000);
    event.set_bandwidth_hz(100'000'000);
    event.set_power_mdbm(-1500);
    EXPECT_EQ(shown(event), "carrier 7 RECONFIGURED, 3510.05 MHz, 100 MHz wide, -1.5 dBm");
}

TEST(RecordText, TellsACarrierEventThatSaysNothing) {
    EXPECT_EQ(shown(CarrierEvent()), "carrier ? ?");
}

TEST(RecordText, TellsARegisterDump) {
    RegisterInfo info;
    info.set_block("eth0");
    info.set_cause(RegisterInfo::PERIODIC);
    info.add_registers()->set_value(7);
    info.add_registers()->set_value(8);
    EXPECT_EQ(shown(info), "eth0 PERIODIC, 2 registers");
}

TEST(RecordText, TellsARegisterDumpOfOneRegister) {
    RegisterInfo info;
    info.set_block("pll");
    info.set_cause(RegisterInfo::PERIODIC);
    info.add_registers()->set_value(7);
    EXPECT_EQ(shown(info), "pll PERIODIC, 1 register");
}

TEST(RecordText, TellsTheRegistersThatGaveTheCause) {
    RegisterInfo info;
    info.set_block("eth0");
    info.set_base_address(0x1000);
    info.set_cause(RegisterInfo::FAULT);
    info.add_registers()->set_name("rx_packets");
    for (const auto* name : {"rx_errors", ""}) {
        auto* const entry = info.add_registers();
        entry->set_offset(0x20);
        entry->set_value(3);
        entry->set_trigger(true);
        entry->set_name(name);
    }
    info.mutable_registers(2)->clear_name();
    EXPECT_EQ(shown(info), "eth0 FAULT by rx_errors 3 0x1020 3, 3 registers");
}

TEST(RecordText, TellsARegisterDumpThatSaysNothing) {
    EXPECT_EQ(shown(RegisterInfo()), "? ?, 0 registers");
}

TEST(RecordText, LooksForTheTypeAsTheCollectorDoes) {
    EXPECT_EQ(recordText("", "some.CarrierEvent.V1"), "carrier ? ?");
    EXPECT_EQ(recordText("", "RegisterInfo"), "? ?, 0 registers");
    EXPECT_EQ(recordText("", "RegisterInfo CarrierEvent"), "carrier ? ?");
}

TEST(RecordText, TellsSizeAndFirstBytesOfOtherTypes) {
    EXPECT_EQ(recordText("", ""), "0 bytes");
    EXPECT_EQ(recordText("\x0a\xff", "Other"), "2 bytes 0aff");
    EXPECT_EQ(recordText("123456789", ""), "9 bytes 3132333435363738");
}

TEST(RecordText, TellsSizeAndFirstBytesOfARecordThatIsNoneOfItsType) {
    EXPECT_EQ(recordText("\x0a\xff", "CarrierEvent"), "2 bytes 0aff");
    EXPECT_EQ(recordText("\x0a\xff", "RegisterInfo"), "2 bytes 0aff");
}

}  // namespace
}  // namespace Qdx::Pull
