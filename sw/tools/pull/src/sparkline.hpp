// A series as one line of blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "pull/terminalText.hpp"

namespace Qdx::Pull {

// The means of at most so many neighbouring groups of the values, as equal in size as they can be;
// fewer values than groups stay as they are.
std::vector<double> means(const std::vector<std::int64_t>& values, std::size_t groups);

// Each value's step between the smallest and the largest of them, from 0 to steps - 1. Equal values
// are all at step 0. REQUIRES: steps > 0.
std::vector<std::size_t> steps(const std::vector<double>& values, std::size_t steps);

// The values from the oldest on the left to the newest, scaled to their own range; at most width
// columns, one for each value while they fit.
std::string sparkline(const std::vector<std::int64_t>& values, std::size_t width, Glyphs glyphs);

}  // namespace Qdx::Pull
