// What the benchmarks share: a unit with a large catalogue, series of samples, and collectors with
// filters.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ozo.h"
#include "quardex.hpp"

namespace Qdx::Bench {

inline constexpr std::size_t objects = 10000;
inline constexpr std::size_t contextsPerObject = 10;

// Sets UNIT_ROOT to a private unit whose catalogue has measurements and counters with names of 20
// characters, tagged "BENCH". Lives until the process ends.
void useBenchUnit();

// Messages of up to a thousand items that hold all series once, or one series a thousand times if
// there is but one.
std::vector<std::shared_ptr<ozo_msg>> measurementBatches(std::size_t series);
std::size_t samplesIn(std::size_t series);

// A collector with ample budget and that many filters of one capture statement (given without the
// blank in front).
std::unique_ptr<Backend::Quardex> collectorWith(std::size_t filters, const std::string& statement);

}  // namespace Qdx::Bench
