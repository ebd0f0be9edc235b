// The command line.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "checker.hpp"
#include "loadRun.hpp"
#include "plan.hpp"

namespace QdxLoad {

// How a run is followed: see followedRun.hpp.
struct FollowOptions {
    bool churns = false;
    bool isUnderPressure = false;
    bool whenQuiet = false;
    std::chrono::milliseconds pause{100};
    std::string sheet;  // write the balance sheet there, as CSV
};

struct Options {
    Plan plan;
    Load load;
    std::optional<FollowOptions> follow;
    std::string list;    // write the info object list there, and end
    std::string ledger;  // written by a run, read by a check
    std::optional<pid_t> collector;
    bool check = false;
    std::vector<std::string> pulls;
    Began began = Began::Sometime;
};

// Empty when the program is to end at once, with the status to exit with: after --help and
// --version, or a line on standard error about what is wrong.
std::optional<Options> parseOptions(int argc, const char* const* argv, int& exitStatus);

}  // namespace QdxLoad
