#include "everything.hpp"

#include <limits>

#include "carrierEvent.pb.h"
#include "registerInfo.pb.h"

namespace Qdx::Pull {

namespace {

constexpr std::uint64_t morning = 1'714'557'600;  // 2024-05-01 10:00:00 UTC
constexpr std::uint32_t power = 1;
constexpr std::uint32_t temperature = 2;
constexpr std::uint32_t bytesSent = 3;
constexpr std::uint32_t carrierEvents = 4;
constexpr std::uint32_t registerDumps = 5;
constexpr std::uint32_t otherRecords = 6;
constexpr std::uint32_t unknown = 4711;

template <typename Collection, typename Value>
void add(Collection& collection, const Value& value, std::uint64_t time) {
    collection.add_values(value);
    collection.add_timestamps(time);
}

template <typename Scope>
void scope(Scope* aggregation, Qdx::AggrSubType subType, std::uint32_t size) {
    aggregation->set_subtype(subType);
    aggregation->set_size(size);
}

Qdx::MeasurementCollection& measurement(Qdx::InfoObjectCollections& message, std::uint32_t id) {
    auto& collection = *message.add_measurementcollections();
    collection.set_id(id);
    return collection;
}

void setAllKeys(Qdx::InfoObjectContext& context) {
    context.set_macro_rf_port(1);
    context.set_aas_rf_port_row(2);
    context.set_aas_rf_port_column(3);
    context.set_aas_rf_port_polarization(4);
    context.set_rf_branch(5);
    context.set_carrier_id(6);
    context.set_dfe_id(7);
    context.set_client_id(8);
    context.set_device_id(std::numeric_limits<std::int32_t>::min());
}

void addMeasurements(Qdx::InfoObjectCollections& message) {
    auto& least = measurement(message, power);
    scope(least.mutable_min(), Qdx::COUNT, 10);
    least.mutable_context()->set_rf_branch(0);
    add(least, 4310, morning);
    add(least, -5, morning + 10);

    auto& most = measurement(message, power);
    scope(most.mutable_max(), Qdx::DURATION, 60);
    most.mutable_context()->set_rf_branch(3);
    most.mutable_context()->set_carrier_id(-7);
    add(most, std::numeric_limits<std::int64_t>::max(), morning);

    auto& mean = measurement(message, temperature);
    scope(mean.mutable_avg(), Qdx::COUNT, 5);
    setAllKeys(*mean.mutable_context());
    add(mean, 421, std::numeric_limits<std::uint64_t>::max());
    mean.add_values(422);

    auto& samples = measurement(message, unknown);
    scope(samples.mutable_list(), Qdx::COUNT, 100);
    add(samples, 0, 0);

    add(measurement(message, power), 1, morning);
    scope(measurement(message, power).mutable_list(), Qdx::COUNT, 1);
}

void addCounters(Qdx::InfoObjectCollections& message) {
    auto& sum = *message.add_countercollections();
    sum.set_id(bytesSent);
    scope(sum.mutable_sum(), Qdx::DURATION, std::numeric_limits<std::uint32_t>::max());
    sum.mutable_context()->set_device_id(2);
    add(sum, std::numeric_limits<std::int64_t>::min(), morning);

    auto& samples = *message.add_countercollections();
    samples.set_id(bytesSent);
    scope(samples.mutable_list(), Qdx::DURATION, 30);
    add(samples, 17, morning);
    samples.add_timestamps(morning + 1);
}

std::string event() {
    Qdx::Records::CarrierEvent message;
    message.set_carrier_id(7);
    message.set_kind(Qdx::Records::CarrierEvent::FAILED);
    message.set_power_mdbm(-1500);
    message.set_reason("\"lost\",\r\nagain \xC3\xA9");
    return message.SerializeAsString();
}

std::string dump() {
    Qdx::Records::RegisterInfo message;
    message.set_block("dfe0");
    message.set_base_address(0x1'0000'0000);
    message.set_cause(Qdx::Records::RegisterInfo::FAULT);
    auto& entry = *message.add_registers();
    entry.set_offset(4);
    entry.set_value(0xFFFFFFFF);
    entry.set_name("status");
    return message.SerializeAsString();
}

void addRecords(Qdx::InfoObjectCollections& message, std::uint32_t id,
                const std::vector<std::string>& records) {
    auto& collection = *message.add_recordcollections();
    collection.set_id(id);
    scope(collection.mutable_list(), Qdx::COUNT, 20);
    for (const auto& record : records) {
        add(collection, record, morning);
    }
}

}  // namespace

Qdx::InfoObjectCollections everything() {
    Qdx::InfoObjectCollections message;
    message.set_version(1);
    addMeasurements(message);
    addCounters(message);
    addRecords(message, carrierEvents, {event(), "\xFF"});
    addRecords(message, registerDumps, {dump()});
    addRecords(message, otherRecords, {"", std::string("\0a,\"", 4)});
    addRecords(message, unknown, {event()});
    auto& radio = *message.mutable_radiometadata();
    radio.set_swproductnumber("SW 2");
    radio.set_swproductrevision("R2");
    radio.set_hwproductnumber("HW 1");
    radio.set_hwproductrevision("R1");
    radio.set_hwserialnumber("S42");
    radio.set_hwname("unit\x1b 1");
    return message;
}

Catalogue catalogueOfEverything() {
    return Catalogue({
        {power, {"tx:power", "dBm", "0.01", "", {"POWER", "TX"}}},
        {temperature,
         {"a,\"b\"",
          "\xC2\xB0"
          "C",
          "0.1",
          "",
          {}}},
        {bytesSent, {"bytes", "kB", "nan", "", {"NET"}}},
        {carrierEvents, {"carrier", "", "", "Qdx.Records.CarrierEvent", {}}},
        {registerDumps, {"registers", "", "", "RegisterInfo", {}}},
        {otherRecords, {"other", "", "", "Unheard", {}}},
    });
}

}  // namespace Qdx::Pull
