// The command line.
#pragma once

#include <optional>
#include <string>

#include "report.hpp"

namespace DchFilter {

struct Options {
    std::string input = "-";  // a file, or "-" for standard input
    bool checkOnly = false;
    std::string catalogue;  // an info object list file; empty for none
    ReportOptions report;
};

// Empty when the program is to end at once, with the status to exit with: after --help and
// --version, or a line on standard error about what is wrong.
std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus);

}  // namespace DchFilter
