// hostfe as a process, over real mailboxes, against a collector that the test plays.
#include "hostfeProcess.hpp"

#include <gmock/gmock.h>
#include <sysexits.h>

#include <csignal>
#include <cstdlib>
#include <thread>

#include "carrierEvent.pb.h"
#include "fakeCollector.hpp"
#include "fakeHost.hpp"
#include "infoObjectContextImpl.hpp"
#include "registerInfo.pb.h"
#include "wireFormat.hpp"

namespace HostFe {
namespace {

using Qdx::Records::CarrierEvent;
using Qdx::Records::RegisterInfo;
using Qdx::V1::beConnectionCfm;
using Qdx::V1::beConnectionReq;
using Qdx::V1::collectorMailbox;
using ::testing::_;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::FieldsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class HostfeProcessTest : public ::testing::Test {
public:
    HostfeProcessTest() {
        unit.folder("run");
        ::setenv("UNIT_ROOT", unit.root().c_str(), 1);
    }
    ~HostfeProcessTest() override {
        ::unsetenv("UNIT_ROOT");
        ::unsetenv("OZO_MAX_SIZE");
    }

    FakeHost unit;
};

TEST_F(HostfeProcessTest, OffersItsRevisionThenSendsAllMetaDataThenBatches) {
    FakeCollector collector(collectorMailbox);
    const HostfeProcess hostfe({"--rate", "50"});
    const auto request = collector.expect(beConnectionReq);
    ASSERT_TRUE(request);
    EXPECT_EQ(ozo_size(request.get()), 20u);
    EXPECT_EQ(FakeCollector::wordOf(request.get(), 12), 1u);
    EXPECT_EQ(FakeCollector::wordOf(request.get(), 16), 1u);
    FakeCollector::confirm(request.get());

    const Qdx::RadioMetaData metaData = collector.expectMetaData();
    EXPECT_TRUE(metaData.has_swproductnumber() && metaData.has_swproductrevision() &&
                metaData.has_hwproductnumber() && metaData.has_hwproductrevision() &&
                metaData.has_hwserialnumber() && metaData.has_hwname());

    const Batch first = collector.expectBatch();
    EXPECT_THAT(first.measurements, Not(IsEmpty()));
    EXPECT_THAT(first.counters, IsEmpty());
    EXPECT_THAT(collector.expectBatch().counters, Not(IsEmpty()));
}

TEST_F(HostfeProcessTest, SendsWhatTheMachineTells) {
    FakeHost machine;
    machine.file("proc/stat", "cpu0 100 0 0 100\nctxt 50\n")
        .file("proc/loadavg", "0.05 1.20 3.00 1/2 3\n");
    FakeCollector collector(collectorMailbox);
    const HostfeProcess hostfe({"--rate", "50", "--host-root", machine.root()});
    collector.connect();
    EXPECT_THAT(collector.expectBatch().measurements,
                ElementsAre(FieldsAre("host:load:oneMinute", "", 5),
                            FieldsAre("host:load:fiveMinutes", "", 120),
                            FieldsAre("host:load:fifteenMinutes", "", 300)));
    EXPECT_THAT(collector.expectBatch().counters,
                ElementsAre(FieldsAre("host:cpu:busy", "deviceId=0", 0),
                            FieldsAre("host:cpu:user", "deviceId=0", 0),
                            FieldsAre("host:cpu:nice", "deviceId=0", 0),
                            FieldsAre("host:cpu:system", "deviceId=0", 0),
                            FieldsAre("host:cpu:idle", "deviceId=0", 0),
                            FieldsAre("host:cpu:iowait", "deviceId=0", 0),
                            FieldsAre("host:cpu:irq", "deviceId=0", 0),
                            FieldsAre("host:cpu:softirq", "deviceId=0", 0),
                            FieldsAre("host:cpu:steal", "deviceId=0", 0),
                            FieldsAre("host:cpu:contextSwitches", "", 0)));
}

TEST_F(HostfeProcessTest, EveryContextCanBeDecoded) {
    FakeCollector collector(collectorMailbox);
    const HostfeProcess hostfe({"--rate", "50"});
    collector.connect();
    collector.expectBatch();
    const Batch batch = collector.expectBatch();
    for (const auto* section : {&batch.measurements, &batch.counters}) {
        for (const Item& item : *section) {
            EXPECT_TRUE(item.context.empty() ||
                        Qdx::V1::InfoObjectContextImpl::cache(item.context) != nullptr)
                << item.name << ' ' << item.context;
        }
    }
}

TEST_F(HostfeProcessTest, SendsSeveralMessagesWhenOneDoesNotHoldAll) {
    ::setenv("OZO_MAX_SIZE", "1024", 1);
    FakeHost machine;
    std::string stat;
    for (int core = 0; core < 16; ++core) {
        stat += "cpu" + std::to_string(core) + " 1 2 3 4 5 6 7 8\n";
    }
    machine.file("proc/stat", stat);
    FakeCollector collector(collectorMailbox);
    const HostfeProcess hostfe({"--rate", "50", "--host-root", machine.root()});
    collector.connect();
    std::size_t counters = 0;
    constexpr std::size_t all = std::size_t{16} * 9;
    while (counters < all) {
        const auto batch = collector.expectBatch();
        ASSERT_THAT(batch.counters, Not(IsEmpty()));
        EXPECT_LT(batch.counters.size(), 30u);
        counters += batch.counters.size();
    }
    EXPECT_EQ(counters, all);
}

// The next record of that object of interface 4.
template <typename Message>
Message expectMessage(FakeCollector& collector, const std::string& object) {
    const RecordItem record = collector.expectRecord(object);
    EXPECT_EQ(record.context, "deviceId=4");
    Message message;
    EXPECT_TRUE(message.ParseFromString(record.bytes));
    return message;
}

TEST_F(HostfeProcessTest, LinksAreRecords) {
    FakeHost machine;
    machine.interface("eth0", 4);
    FakeCollector collector(collectorMailbox);
    const HostfeProcess hostfe({"--rate", "50", "--host-root", machine.root()});
    collector.connect();
    const auto expectEvent = [&collector] {
        return expectMessage<CarrierEvent>(collector, "host:net:link").ShortDebugString();
    };
    EXPECT_EQ(expectEvent(), R"(carrier_id: 4 kind: ACTIVATED reason: "seen first" )"
                             R"(carrier_name: "eth0" bandwidth_bps: 1000000000)");

    machine.file("sys/class/net/eth0/speed", "100\n");
    EXPECT_EQ(expectEvent(),
              R"(carrier_id: 4 kind: RECONFIGURED reason: "speed 1000 to 100 Mbit/s" )"
              R"(carrier_name: "eth0" bandwidth_bps: 100000000)");

    machine.file("sys/class/net/eth0/carrier", "0\n")
        .file("sys/class/net/eth0/operstate", "down\n");
    EXPECT_EQ(expectEvent(),
              R"(carrier_id: 4 kind: FAILED reason: "no carrier" carrier_name: "eth0")");
}

TEST_F(HostfeProcessTest, InterfaceCountersAreRecords) {
    FakeHost machine;
    machine.interface("eth0", 4);
    FakeCollector collector(collectorMailbox);
    const HostfeProcess hostfe({"--rate", "50", "--host-root", machine.root()});
    collector.connect();
    const auto first = expectMessage<RegisterInfo>(collector, "host:net:counters");
    EXPECT_EQ(first.cause(), RegisterInfo::PERIODIC);

    machine.file("sys/class/net/eth0/statistics/rx_errors", "3\n");
    EXPECT_EQ(expectMessage<RegisterInfo>(collector, "host:net:counters").ShortDebugString(),
              R"(block: "eth0" base_address: 0 cause: FAULT )"
              R"(registers { offset: 0 value: 70 name: "rx_packets" } )"
              R"(registers { offset: 32 value: 3 name: "rx_errors" trigger: true })");
}

TEST_F(HostfeProcessTest, CountersComeAgainAfterTheirPeriod) {
    FakeHost machine;
    machine.interface("eth0", 4);
    FakeCollector collector(collectorMailbox);
    const HostfeProcess hostfe(
        {"--rate", "50", "--register-period", "1", "--host-root", machine.root()});
    collector.connect();
    for (int round = 0; round < 2; ++round) {
        const auto block = expectMessage<RegisterInfo>(collector, "host:net:counters");
        EXPECT_EQ(block.cause(), RegisterInfo::PERIODIC);
    }
}

TEST_F(HostfeProcessTest, RecordsAreToldAnewToACollectorThatRestarts) {
    FakeHost machine;
    machine.interface("eth0", 4);
    const HostfeProcess hostfe({"--rate", "50", "--host-root", machine.root()});
    for (int round = 0; round < 2; ++round) {
        FakeCollector collector(collectorMailbox);
        collector.connect();
        EXPECT_THAT(
            collector.expectBatch().records,
            ElementsAre(FieldsAre("host:net:link", _, _), FieldsAre("host:net:counters", _, _)));
        EXPECT_THAT(expectMessage<CarrierEvent>(collector, "host:net:link").reason(),
                    HasSubstr("seen first"));
        EXPECT_EQ(expectMessage<RegisterInfo>(collector, "host:net:counters").cause(),
                  RegisterInfo::PERIODIC);
    }
}

TEST_F(HostfeProcessTest, WaitsForACollectorThatIsNotThereYet) {
    HostfeProcess hostfe({"--rate", "50"});
    ASSERT_TRUE(hostfe.says("hostfe: waiting for the collector\n"));
    FakeCollector collector(collectorMailbox);
    collector.connect();
    EXPECT_THAT(collector.expectBatch().measurements, Not(IsEmpty()));
}

TEST_F(HostfeProcessTest, AsksAgainWhenNoAnswerComes) {
    FakeCollector collector(collectorMailbox);
    const HostfeProcess hostfe({"--rate", "50"});
    const auto first = collector.expect(beConnectionReq);
    const auto second = collector.expect(beConnectionReq);
    ASSERT_TRUE(first && second);
    EXPECT_NE(FakeCollector::procedureOf(first.get()), FakeCollector::procedureOf(second.get()));
    FakeCollector::confirm(second.get());
    EXPECT_EQ(collector.expectMetaData().hwname().empty(), false);
}

TEST_F(HostfeProcessTest, AnswerToAnotherRequestDoesNotConnect) {
    FakeCollector collector(collectorMailbox);
    const HostfeProcess hostfe({"--rate", "50"});
    const auto request = collector.expect(beConnectionReq);
    ASSERT_TRUE(request);
    FakeCollector::reply(ozo_sender(request.get()), beConnectionCfm,
                         FakeCollector::procedureOf(request.get()) + 1);
    EXPECT_TRUE(collector.expect(beConnectionReq));
}

TEST_F(HostfeProcessTest, AnswerOfAnotherMailboxDoesNotConnect) {
    FakeCollector collector(collectorMailbox);
    const HostfeProcess hostfe({"--rate", "50"});
    const auto request = collector.expect(beConnectionReq);
    ASSERT_TRUE(request);
    std::thread([&request] {
        const FakeCollector impostor("Impostor");
        FakeCollector::confirm(request.get());
    }).join();
    EXPECT_TRUE(collector.expect(beConnectionReq));
}

TEST_F(HostfeProcessTest, ConnectsAgainWhenTheCollectorRestarts) {
    HostfeProcess hostfe({"--rate", "50"});
    for (int round = 0; round < 3; ++round) {
        FakeCollector collector(collectorMailbox);
        collector.connect();
        EXPECT_THAT(collector.expectBatch().counters, IsEmpty()) << round;
        EXPECT_THAT(collector.expectBatch().counters, Not(IsEmpty())) << round;
    }
    ASSERT_TRUE(hostfe.says("the collector is gone\nhostfe: waiting for the collector\n"));
    hostfe.signal(SIGTERM);
    EXPECT_EQ(hostfe.exitStatus(), 0);
}

TEST_F(HostfeProcessTest, WhatTheMachineCountsWithoutACollectorIsForgotten) {
    FakeHost machine;
    machine.file("proc/stat", "ctxt 50\n").file("proc/loadavg", "0.05 1.20 3.00 1/2 3\n");
    HostfeProcess hostfe({"--rate", "50", "--host-root", machine.root()});
    {
        FakeCollector collector(collectorMailbox);
        collector.connect();
        collector.expectBatch();
    }
    ASSERT_TRUE(hostfe.says("the collector is gone"));
    machine.file("proc/stat", "ctxt 1050\n");
    FakeCollector next(collectorMailbox);
    next.connect();
    EXPECT_THAT(next.expectBatch().counters, IsEmpty());
    EXPECT_THAT(next.expectBatch().counters,
                ElementsAre(FieldsAre("host:cpu:contextSwitches", "", 0)));
}

// A collector that never reads: its mailbox is soon full, and then the queue.
TEST_F(HostfeProcessTest, TellsAtItsEndWhatASlowCollectorMissed) {
    ::setenv("OZO_MAX_SIZE", "1024", 1);
    FakeHost machine;
    std::string stat;
    for (int core = 0; core < 64; ++core) {
        stat += "cpu" + std::to_string(core) + " 1 2 3 4 5 6 7 8\n";
    }
    machine.file("proc/stat", stat);
    FakeCollector collector(collectorMailbox);
    HostfeProcess hostfe({"--rate", "1000", "--duration", "2", "--host-root", machine.root()});
    collector.connect();
    EXPECT_EQ(hostfe.exitStatus(), 0);
    EXPECT_THAT(hostfe.output(),
                ContainsRegex("hostfe: sent [0-9]+ batches; dropped samples: [0-9]+ for a slow "
                              "collector; the last batches didn't leave\n"));
}

TEST_F(HostfeProcessTest, WaitsForAnotherCollectorWhenOneRejectsIt) {
    HostfeProcess hostfe({"--rate", "50"});
    {
        FakeCollector collector(collectorMailbox);
        const auto request = collector.expect(beConnectionReq);
        ASSERT_TRUE(request);
        FakeCollector::reject(request.get());
        ASSERT_TRUE(hostfe.says("the collector doesn't know revision 1 of the protocol"));
    }
    FakeCollector next(collectorMailbox);
    next.connect();
    EXPECT_THAT(next.expectBatch().measurements, Not(IsEmpty()));
}

TEST_F(HostfeProcessTest, SigtermAndSigintEndItCleanly) {
    for (const int number : {SIGTERM, SIGINT}) {
        HostfeProcess hostfe({"--rate", "50"});
        ASSERT_TRUE(hostfe.says("waiting"));
        hostfe.signal(number);
        EXPECT_EQ(hostfe.exitStatus(), 0);
        EXPECT_THAT(hostfe.output(), HasSubstr("hostfe: sent 0 batches; dropped samples: none\n"));
        EXPECT_EQ(ozo_locate("HostFrontend"), OZO_NO_MAILBOX);
    }
}

TEST_F(HostfeProcessTest, EndsAfterItsDuration) {
    HostfeProcess hostfe({"--rate", "50", "--duration", "0.1"});
    EXPECT_EQ(hostfe.exitStatus(), 0);
}

TEST_F(HostfeProcessTest, SecondOneOnAUnitIsRefused) {
    HostfeProcess first({"--rate", "50"});
    ASSERT_TRUE(first.says("waiting"));
    HostfeProcess second({"--rate", "50"});
    EXPECT_EQ(second.exitStatus(), EX_UNAVAILABLE);
    EXPECT_EQ(second.output(),
              "hostfe: cannot create the mailbox HostFrontend: another hostfe runs on this unit\n");
}

TEST_F(HostfeProcessTest, UnitWithoutARunDirectoryIsRefused) {
    ::setenv("UNIT_ROOT", (unit.root() / "nowhere").c_str(), 1);
    HostfeProcess hostfe({});
    EXPECT_EQ(hostfe.exitStatus(), EX_UNAVAILABLE);
    EXPECT_EQ(hostfe.output(),
              "hostfe: cannot create the mailbox HostFrontend: No such file or directory; is "
              "/run/ozo there (below UNIT_ROOT, if that is set), and are you in its group?\n");
}

TEST_F(HostfeProcessTest, RefusesRatesOutOfRange) {
    for (const auto* rate : {"0", "-1", "1001", "nan", "fast", ""}) {
        HostfeProcess hostfe({"--rate", rate});
        EXPECT_EQ(hostfe.exitStatus(), EX_USAGE) << rate;
        EXPECT_THAT(hostfe.output(),
                    HasSubstr(std::string("--rate: ") + rate + " is not a number from 0.1 to 1000"))
            << rate;
    }
}

TEST_F(HostfeProcessTest, RefusesRegisterPeriodsOutOfRange) {
    for (const auto* period : {"0.5", "86401", "nan"}) {
        HostfeProcess hostfe({"--register-period", period});
        EXPECT_EQ(hostfe.exitStatus(), EX_USAGE) << period;
        EXPECT_THAT(hostfe.output(), HasSubstr(std::string("--register-period: ") + period +
                                               " is not a number from 1 to 86400"))
            << period;
    }
}

TEST_F(HostfeProcessTest, RefusesAHostRootThatIsNotThere) {
    HostfeProcess hostfe({"--host-root", unit.root() / "nowhere"});
    EXPECT_EQ(hostfe.exitStatus(), EX_USAGE);
    EXPECT_THAT(hostfe.output(), HasSubstr("--host-root: Directory does not exist"));
}

TEST_F(HostfeProcessTest, TellsItsVersionAndHelp) {
    HostfeProcess version({"--version"});
    EXPECT_EQ(version.exitStatus(), 0);
    EXPECT_THAT(version.output(), ::testing::MatchesRegex("hostfe [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    HostfeProcess help({"--help"});
    EXPECT_EQ(help.exitStatus(), 0);
    EXPECT_THAT(help.output(), HasSubstr("--rate"));
}

}  // namespace
}  // namespace HostFe
