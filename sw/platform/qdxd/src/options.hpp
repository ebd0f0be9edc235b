// The command line of qdxd.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Qdxd {

struct Options {
    std::vector<std::string> libraries;  // at least one
    std::string recording;               // the file to record to; empty for none
};

// Parses the command line. When there is nothing more to do, be it that help or version was asked
// for or that the line is wrong, says what there is to say and gives the exit status instead.
std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus);

}  // namespace Qdxd
