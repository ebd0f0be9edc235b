// The values of measurements and counters, as they travel from a frontend's batch to the results of
// a filter.
#pragma once

#include <compare>
#include <cstdint>

namespace Qdx::V1 {

// A level that stands until the next one: a temperature, a load.
struct MeasurementData {
    std::int64_t value;
    friend auto operator<=>(const MeasurementData&, const MeasurementData&) = default;
};

// An increment since the last one: bytes sent, errors seen.
struct CounterData {
    std::int64_t value;
    friend auto operator<=>(const CounterData&, const CounterData&) = default;
};

}  // namespace Qdx::V1
