#include "hostRecords.hpp"

#include "networkInterfaces.hpp"

namespace HostFe {
namespace {

constexpr RecordObject linkEvent{"host:net:link", "Qdx.Records.CarrierEvent"};
constexpr RecordObject counterBlock{"host:net:counters", "Qdx.Records.RegisterInfo"};

template <typename Message>
void append(std::vector<Record>& records, const RecordObject& object,
            const ByDevice<Message>& messages) {
    for (const auto& [device, message] : messages) {
        records.push_back({object, device, message.SerializeAsString()});
    }
}

}  // namespace

std::vector<RecordObject> recordObjects() {
    return {linkEvent, counterBlock};
}

std::vector<Record> HostRecords::read(Pace::Clock::time_point now) {
    std::vector<Record> records;
    if (linkPace.isDue(now)) {
        append(records, linkEvent, links.look(readLinks(files)));
    }
    if (counterPace.isDue(now)) {
        append(records, counterBlock, blocks.look(now, readInterfaceCounters(files)));
    }
    return records;
}

}  // namespace HostFe
