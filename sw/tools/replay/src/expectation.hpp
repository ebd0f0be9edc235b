// Comparing what came with what was expected.
#pragma once

#include <optional>
#include <string>

namespace Replay {

// Where the texts part, in three lines: the number of the line, what it should be and what it is.
// Empty if they are the same.
std::optional<std::string> firstDifference(const std::string& expected, const std::string& actual);

}  // namespace Replay
