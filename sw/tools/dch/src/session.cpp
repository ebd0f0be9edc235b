#include "session.hpp"

#include <sysexits.h>

#include <algorithm>
#include <utility>

#include "completion.hpp"
#include "output.hpp"
#include "tessel/commandProtocol.hpp"

namespace Dch {

using Tessel::CommandClient::AnswerCutShort;
using Tessel::CommandClient::Patience;
using Tessel::CommandClient::Unreachable;

namespace {

constexpr auto hintPatience = std::chrono::seconds(1);

// What the session itself understands.
const Words ownWords{"exit", "help", "quit"};

constexpr const char* advice =
    "Type a subcommand, with or without the command word in front. Tab completes, ? shows what\n"
    "fits, exit leaves. $transaction and $filter stand for the numbers that the latest\n"
    "'dch fs create' and 'dch fs commit' gave.\n";

bool isComment(std::string_view line) {
    const auto begin = line.find_first_not_of(blanks);
    return begin != std::string_view::npos && line[begin] == '#';
}

// Why the line can't be typed at all; empty if it can.
std::string fault(std::string_view line) {
    constexpr auto longest = Tessel::CommandProtocol::maxLine;
    if (line.size() > longest) {
        return "it is longer than " + std::to_string(longest) + " characters";
    }
    return line.find('\0') == std::string_view::npos ? "" : "it has a NUL byte";
}

// The words of an unfinished line; the last is empty behind a blank.
Words splitUnfinished(std::string_view before) {
    auto words = splitWords(before);
    if (before.empty() || blanks.find(before.back()) != std::string_view::npos) {
        words.emplace_back();
    }
    return words;
}

}  // namespace

int shellStatus(int status) {
    constexpr int highest = 255;
    return status < 0 || status > highest ? highest : status;
}

Session::Session(std::string name, int giveUpFd)
    : name_(std::move(name)),
      collector_(Patience{std::nullopt, giveUpFd}),
      hints_(Patience{hintPatience, giveUpFd}) {}

Outcome Session::type(std::string_view line) {
    if (isComment(line)) {
        return {};
    }
    if (auto reason = fault(line); !reason.empty()) {
        return {EX_DATAERR, std::move(reason)};
    }
    const auto words = splitWords(line);
    if (words.empty()) {
        return {};
    }
    try {
        return act(words);
    } catch (const NoNumber& error) {
        return {EX_DATAERR, error.what()};
    } catch (const Unreachable& error) {
        return {EX_UNAVAILABLE, error.what()};
    } catch (const AnswerCutShort& error) {
        return {EX_SOFTWARE, error.what()};
    }
}

Outcome Session::act(const Words& typed) {
    if (typed.size() == 1 && (typed.front() == "exit" || typed.front() == "quit")) {
        return {0, "", true};
    }
    if (typed == Words{"help"}) {
        writeOutput(advice + help({}));
        return {};
    }
    if (typed.back() == "?") {
        writeOutput(help({typed.begin(), std::prev(typed.end())}));
        return {};
    }
    return run(withCommandWord(numbers_.replace(typed), collector_));
}

Outcome Session::run(const Words& words) {
    std::string beginning;
    const auto output = [&](std::string_view bytes) {
        beginning += bytes.substr(0, Numbers::longestAnswer - beginning.size());
        writeOutput(bytes);
    };
    // An answer that is cut short gives no number either.
    numbers_.learn(words, "");
    const int status = shellStatus(collector_.run(words, {output, writeError}));
    numbers_.learn(words, beginning);
    return {status, ""};
}

Words Session::withCommandWord(Words words, const Collector& collector) const {
    if (words.front() != name_ && !collector.isCommand(words.front())) {
        words.insert(words.begin(), name_);
    }
    return words;
}

Words Session::complete(std::string_view before) const {
    const auto words = splitUnfinished(before);
    try {
        if (words.back().starts_with('$')) {
            return choose(numberWords(), words.back());
        }
        if (words.size() == 1) {
            return choose(firstWords(), words.back());
        }
        return hints_.complete(withCommandWord(words, hints_));
    } catch (const std::exception&) {
        return {};
    }
}

Words Session::firstWords() const {
    auto words = ownWords;
    for (const auto& more : {hints_.commands(), hints_.complete({name_, ""})}) {
        words.insert(words.end(), more.begin(), more.end());
    }
    return words;
}

std::string Session::explain(std::string_view before) const {
    try {
        return help(splitWords(before));
    } catch (const std::exception& error) {
        return name_ + ": " + error.what() + '\n';
    }
}

std::string Session::help(const Words& words) const {
    const auto rows = rowsBehind(words);
    return rows.empty() ? name_ + ": no subcommand begins like this\n" : layOutTable(rows);
}

Table Session::rowsBehind(const Words& words) const {
    if (!words.empty()) {
        const auto full = withCommandWord(words, hints_);
        return rowsThatFit(hints_.table(full.front()), full);
    }
    auto rows = hints_.table(name_);
    for (const auto& command : hints_.commands()) {
        if (command != name_) {
            const auto more = hints_.table(command);
            rows.insert(rows.end(), more.begin(), more.end());
        }
    }
    return rows;
}

}  // namespace Dch
