#include "collector.hpp"

#include <stdexcept>

#include "pull/badData.hpp"
#include "pull/pullReader.hpp"
#include "tessel/commandClient.hpp"

namespace Qdxview {

namespace CommandClient = Tessel::CommandClient;

namespace {

// Text of a pull. A view has no use for more, and reading it takes many times its size.
constexpr std::size_t longestAnswer = std::size_t{32} << 20;

class AnswerTooLong : public std::exception {};

}  // namespace

Collector::Answer Collector::ask(const std::vector<std::string>& words) const {
    std::string text;
    const auto take = [&text](std::string_view bytes) {
        if (bytes.size() > longestAnswer - text.size()) {
            throw AnswerTooLong();
        }
        text += bytes;
    };
    try {
        const int status = CommandClient::run(words, {take, take}, {std::nullopt, giveUpFd});
        return {status, std::move(text)};
    } catch (const CommandClient::Unreachable& error) {
        throw NoAnswer(firstLine(error.what()));
    } catch (const CommandClient::AnswerCutShort& error) {
        throw NoAnswer(firstLine(error.what()));
    } catch (const AnswerTooLong&) {
        throw Refused("more than this view reads: over 32 MiB of text");
    }
}

std::string Collector::firstLine(const std::string& text) const {
    constexpr std::size_t widest = 200;
    const auto line = text.substr(0, text.find('\n'));
    return Qdx::Pull::cutTo(Qdx::Pull::plainText(line, glyphs), widest, glyphs);
}

std::vector<ListedFilter> Collector::list() const {
    const auto usual = ask({"dch", "filter", "status"});
    if (usual.status != 0) {
        throw NoAnswer(firstLine(usual.text));
    }
    // Where it is disabled, nobody lists printable filters.
    const auto printable = ask({"rodc", "list"});
    return parseListing(usual.text + (printable.status == 0 ? printable.text : ""));
}

Qdx::Pull::PullDigest Collector::pull(const std::string& word) const {
    auto answer = ask({"dch", "filter", "pull", "keep", word});
    if (answer.status != 0) {
        throw Refused(firstLine(answer.text));
    }
    if (answer.text.empty()) {
        throw Refused("the collector failed to pull it");
    }
    try {
        const auto pulls = Qdx::Pull::readPulls(std::move(answer.text), "the pull");
        return Qdx::Pull::digestOf(pulls.front().collections, catalogue, glyphs);
    } catch (const Qdx::Pull::BadData& error) {
        throw Refused(firstLine(error.what()));
    }
}

}  // namespace Qdxview
