// The other end of the command socket, for programs that type commands.
#pragma once

#include <functional>
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

// Get the answer as it comes, in pieces of any size.
struct Sinks {
    std::function<void(std::string_view)> output;
    std::function<void(std::string_view)> error;
};

// Each asks the server at $UNIT_ROOT/run/tessel/command.sock over a connection of its own, waits
// for the answer and gives the exit status. They throw Unreachable, AnswerCutShort, and what a sink
// throws, which gives up the answer.
int run(const std::vector<std::string>& words, const Sinks& sinks);
// The words of the commands, one per line.
int list(const Sinks& sinks);
// The subcommands of a command word, a line "syntax TAB help" each.
int table(const std::string& word, const Sinks& sinks);

}  // namespace Tessel::CommandClient
