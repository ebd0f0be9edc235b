// A run of fixed length for profilers.
#pragma once

#include <cstddef>

namespace Qdx::Bench {

// Fills a collector as the case "1 filter" does, then makes that many passes over its work within
// the function fixedRun, and gives the number of samples in them.
std::size_t profiledSamples(std::size_t passes);

}  // namespace Qdx::Bench
