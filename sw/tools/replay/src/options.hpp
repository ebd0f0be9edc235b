// The command line of qdx-replay.
#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <string>

namespace Replay {

struct Options {
    std::string recording;  // "-" for standard input
    bool list = false;
    std::size_t until = std::numeric_limits<std::size_t>::max();
    std::string expected;  // a file; empty for none
};

// Empty when the program is to end at once, with the status to exit with: after --help and
// --version, or a line on standard error about what is wrong.
std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus);

}  // namespace Replay
