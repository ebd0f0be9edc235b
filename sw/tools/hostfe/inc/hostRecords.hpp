// Which records a machine gives, and when.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "hostFiles.hpp"
#include "linkWatch.hpp"
#include "pace.hpp"
#include "registerBlocks.hpp"

namespace HostFe {

// An info object that can be reported as a record.
struct RecordObject {
    std::string_view name;
    std::string_view messageType;
};

// One record to report.
struct Record {
    RecordObject object;
    int device = 0;     // which interface
    std::string bytes;  // of the serialised message
};

// Looks at the machine's network interfaces: at their links as often as it is called, up to ten
// times a second, and at their counters, of which there are many more, once a second. One thread.
class HostRecords {
public:
    static constexpr std::chrono::milliseconds linkPeriod{100};
    static constexpr std::chrono::seconds counterPeriod{1};

    HostRecords(HostFiles hostFiles, Pace::Clock::duration blockPeriod)
        : files(std::move(hostFiles)), blocks(blockPeriod) {}

    std::vector<Record> read(Pace::Clock::time_point now);

private:
    const HostFiles files;
    Pace linkPace{linkPeriod};
    Pace counterPace{counterPeriod};
    LinkWatch links;
    RegisterBlocks blocks;
};

// Every object that records can be of.
std::vector<RecordObject> recordObjects();

}  // namespace HostFe
