#include "collector.hpp"

#include <algorithm>

#include "completion.hpp"

namespace Dch {

namespace CommandClient = Tessel::CommandClient;

namespace {

// The output of a request; nothing if it was refused.
template <typename Request>
std::string outputOf(Request request) {
    std::string output;
    const int status = request(CommandClient::Sinks{
        [&output](std::string_view bytes) { output += bytes; }, [](std::string_view) {}});
    return status == 0 ? output : "";
}

}  // namespace

int Collector::run(const Words& words, const CommandClient::Sinks& sinks) const {
    return CommandClient::run(words, sinks, patience_);
}

Words Collector::commands() const {
    return splitLines(
        outputOf([&](const auto& sinks) { return CommandClient::list(sinks, patience_); }));
}

bool Collector::isCommand(const std::string& word) const {
    const auto words = commands();
    return std::find(words.begin(), words.end(), word) != words.end() || !table(word).empty();
}

Table Collector::table(const std::string& word) const {
    return parseTable(
        outputOf([&](const auto& sinks) { return CommandClient::table(word, sinks, patience_); }));
}

Words Collector::complete(const Words& words) const {
    return Dch::complete(table(words.front()), words, [&](const std::string& parameter) {
        return splitLines(outputOf([&](const auto& sinks) {
            return CommandClient::complete(words.front(), parameter, sinks, patience_);
        }));
    });
}

}  // namespace Dch
