// Typing commands in a test.
#pragma once

#include <string>
#include <vector>

#include "tessel/commandClient.hpp"
#include "tessel/commandCompletion.hpp"
#include "tessel/commandRegistry.hpp"

namespace TestSupport {

struct Answer {
    int status = -1;
    std::string output;
    std::string error;

    bool operator==(const Answer&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Answer& answer) {
    return out << answer.status << " output \"" << answer.output << "\" error \"" << answer.error
               << '"';
}

inline Tessel::CommandClient::Sinks into(Answer& answer) {
    return {[&answer](std::string_view bytes) { answer.output += bytes; },
            [&answer](std::string_view bytes) { answer.error += bytes; }};
}

inline Answer type(const std::vector<std::string>& words) {
    Answer answer;
    answer.status = Tessel::CommandClient::run(words, into(answer));
    return answer;
}

inline Answer complete(const std::string& word, const std::string& parameter) {
    Answer answer;
    answer.status = Tessel::CommandClient::complete(word, parameter, into(answer));
    return answer;
}

inline int registerCompleter(
    const std::string& word,
    Tessel::CommandCompletion::V1::CommandCompletionIf::Completer completer) {
    return Tessel::CommandCompletion::V1::CommandCompletionIf::getInstance().registerCompleter(
        word, std::move(completer));
}

inline int registerCommand(const std::string& word,
                           Tessel::CommandRegistry::V1::CommandRegistryIf::Command command,
                           bool hidden = false) {
    return Tessel::CommandRegistry::V1::CommandRegistryIf::getInstance().registerCommand(
        word, std::move(command), hidden);
}

// Says its words back, joined with bars.
inline int echo(const std::vector<std::string>& words, std::ostream& out) {
    for (const auto& word : words) {
        out << word << '|';
    }
    return 0;
}

}  // namespace TestSupport
