// The other end of the command socket, for programs that type commands.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Tessel::CommandClient {

// Nobody serves the socket; the text says so and names it.
class Unreachable : public std::runtime_error {
    using runtime_error::runtime_error;
};

// The server went, or speaks something else, before the exit status came.
class AnswerCutShort : public std::runtime_error {
    using runtime_error::runtime_error;
};

// The asker gave the answer up.
class GivenUp : public std::runtime_error {
    using runtime_error::runtime_error;
};

// Get the answer as it comes, in pieces of any size.
struct Sinks {
    std::function<void(std::string_view)> output;
    std::function<void(std::string_view)> error;
};

// How long an answer is waited for; without limits until it comes.
struct Patience {
    // For the whole answer; AnswerCutShort is thrown when it is over.
    std::optional<std::chrono::milliseconds> limit = std::nullopt;
    // When this descriptor becomes readable, GivenUp is thrown; nothing is read from it.
    int giveUpFd = -1;
};

// Each asks the server at $UNIT_ROOT/run/tessel/command.sock over a connection of its own, waits
// for the answer and gives the exit status. They throw Unreachable, AnswerCutShort, GivenUp, and
// what a sink throws, which gives up the answer.
int run(const std::vector<std::string>& words, const Sinks& sinks, const Patience& patience = {});
// The words of the commands, one per line.
int list(const Sinks& sinks, const Patience& patience = {});
// The subcommands of a command word, a line "syntax TAB help" each.
int table(const std::string& word, const Sinks& sinks, const Patience& patience = {});
// The values that a parameter of the command's syntax can have now, one per line.
int complete(const std::string& word, const std::string& parameter, const Sinks& sinks,
             const Patience& patience = {});

}  // namespace Tessel::CommandClient
