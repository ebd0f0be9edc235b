// What the benchmarks share: a unit with a large catalogue, and collectors with filters.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ozo.h"
#include "quardex.hpp"

namespace Qdx::Bench {

inline constexpr std::size_t measurements = 10'000;
inline constexpr std::size_t counters = 1000;
inline constexpr std::size_t contextsPerObject = 10;

// Sets UNIT_ROOT to a private unit whose catalogue has these measurements and counters, tagged
// "BENCH", and whose memory limit is ample. Lives until the process ends.
void useBenchUnit();

// Names of the catalogue, 20 characters each. REQUIRES: object < measurements, counters.
std::string measurementName(std::size_t object);
std::string counterName(std::size_t object);
// "rfBranch=3,carrierId=7": the context of a series, of which ten share an object.
std::string contextOf(std::size_t series);

// A collector with ample budget and a filter for each capture statement (given without the blank in
// front).
std::unique_ptr<Backend::Quardex> collectorWith(const std::vector<std::string>& statements);

}  // namespace Qdx::Bench
