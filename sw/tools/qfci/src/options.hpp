// The command line.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "pull/pullWriter.hpp"

namespace Qfci {

enum class Command { Pull, Connect, Ping };

struct Options {
    Command command = Command::Ping;
    std::chrono::milliseconds answerTime{10'000};

    // Of pull.
    std::string filter;
    bool clear = false;
    std::string output = "-";
    Qdx::Pull::Format format = Qdx::Pull::Format::Raw;
    std::string catalogue;

    // Of connect.
    bool hold = false;
};

// Empty when there is nothing to do: help was printed, or the words are wrong, which is said on
// standard error. Then exitStatus is set.
std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus);

}  // namespace Qfci
