// Lines typed one after another to the collector.
#pragma once

#include <string>
#include <string_view>

#include "collector.hpp"
#include "commandTable.hpp"
#include "numbers.hpp"
#include "tessel/commandClient.hpp"
#include "words.hpp"

namespace Dch {

// A status as a shell keeps it, in eight bits: one that has none of them set must not pass for
// success.
int shellStatus(int status);

// What came of a line.
struct Outcome {
    int status = 0;      // 0 if all is well
    std::string reason;  // in one line, why not; empty if the command itself said it
    bool leave = false;  // the line asks to end the session
};

// Understands a line as
//
//     # a comment, and an empty line: nothing
//     exit, quit: the end of the session
//     help: what can be typed
//     WORD... ?: the subcommands that begin with the words
//     WORD...: a command; without a command word in front, one of the command that the session is
//         named after. The words $transaction and $filter stand for the numbers of numbers.hpp.
//
// Every line meets the collector that is there at that moment.
class Session {
public:
    // giveUpFd: becomes readable when a command's answer isn't wanted any more; -1 for never.
    explicit Session(std::string name, int giveUpFd = -1);

    const std::string& name() const { return name_; }

    // Writes answers to the standard streams as they come. Throws what these throw, and
    // Tessel::CommandClient::GivenUp.
    Outcome type(std::string_view line);

    // What the last word before the cursor can become; nothing without a collector that answers at
    // once.
    Words complete(std::string_view before) const;

    // The subcommands that begin with what stands before the cursor, for a person. Always ends with
    // a newline.
    std::string explain(std::string_view before) const;

private:
    Outcome act(const Words& typed);
    Outcome run(const Words& words);
    Words withCommandWord(Words words, const Collector& collector) const;
    Words firstWords() const;
    Table rowsBehind(const Words& words) const;
    std::string help(const Words& words) const;

    const std::string name_;
    const Collector collector_;
    // For what must not keep anybody waiting.
    const Collector hints_;
    Numbers numbers_;
};

}  // namespace Dch
