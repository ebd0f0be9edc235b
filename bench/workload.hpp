// The work that the collector is measured by.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "benchUnit.hpp"

namespace Qdx::Bench {

enum class Kind { Measurement, Counter };

using Messages = std::vector<std::shared_ptr<ozo_msg>>;

// Samples of a number of series, a thousand to a message, all series in one random order that
// repeats, values from all of int64. The same for every run.
struct Workload {
    Kind kind;
    std::size_t series;
    Messages messages;
    std::size_t samples = 0;  // in all messages together

    // REQUIRES: the catalogue has the objects, ten series to each.
    Workload(Kind kind, std::size_t series);
};

// Four aggregators that keep 100 values each, 400 for a series; a window closes every ten samples.
inline const std::string captureMeasurements =
    "min count 10 1000 max count 10 1000 average count 10 1000 list count 100";
// Two that keep 100 values each.
inline const std::string captureCounters = "sum count 10 1000 list count 100";
inline const std::string captureNothing = "tags NOBODY " + captureMeasurements;

inline constexpr std::size_t valuesPerSeries = 400;

// One pass over all messages, as the collector's handler of batches makes it.
void handleAll(Backend::Quardex& collector, const Workload& work);

// A collector with a filter for each statement, and every list and history full. The windows of the
// series are at different places, so that every batch closes some.
std::unique_ptr<Backend::Quardex> fullCollector(const std::vector<std::string>& statements,
                                                const Workload& work);

}  // namespace Qdx::Bench
