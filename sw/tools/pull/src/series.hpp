// One row of a pull: what one aggregator kept of one object in one context.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "InfoObjectCollections.pb.h"

namespace Qdx::Pull {

// Oldest value first. A series has numbers or records, never both.
struct Series {
    std::uint32_t id = 0;
    std::string context;      // "rfBranch=3,carrierId=7"; empty for a value without context
    std::string aggregation;  // "max count 10"; "?" if the collection doesn't tell
    std::vector<std::int64_t> numbers;
    std::vector<std::string_view> records;  // in the message, which must outlive them

    std::size_t size() const { return numbers.size() + records.size(); }
};

// The series in the order of the message: measurements, counters, records.
std::vector<Series> seriesOf(const Qdx::InfoObjectCollections& message);

// Seconds since the epoch.
struct TimeSpan {
    std::uint64_t first;
    std::uint64_t last;
};

// From the oldest to the newest value of all series; empty when there are no values.
std::optional<TimeSpan> timeSpanOf(const Qdx::InfoObjectCollections& message);

}  // namespace Qdx::Pull
