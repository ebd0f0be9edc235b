#include "options.hpp"

#include <algorithm>
#include <iterator>

#include "completion.hpp"

namespace Dch {

namespace {

bool isOneOf(const std::string& word, const char* shortName, const char* longName) {
    return word == shortName || word == longName;
}

bool isSessionOption(const std::string& word) {
    return isOneOf(word, "-i", "--interactive") || isOneOf(word, "-k", "--keep-going");
}

Options parseSession(const Words& words) {
    Options options{Options::Mode::Session, {words.front()}, false};
    bool interactive = false;
    for (auto word = std::next(words.begin()); word != words.end(); ++word) {
        if (!isSessionOption(*word)) {
            throw WrongUsage("'" + *word + "' does not go with a session; lines come from " +
                             "standard input");
        }
        interactive = interactive || isOneOf(*word, "-i", "--interactive");
        options.keepGoing = options.keepGoing || isOneOf(*word, "-k", "--keep-going");
    }
    if (!interactive) {
        throw WrongUsage("--keep-going is for a session; add --interactive");
    }
    return options;
}

Options parseCompletion(const Words& words) {
    Options options{Options::Mode::Complete, words, false};
    options.words.erase(std::next(options.words.begin()));
    if (options.words.size() == 1) {
        options.words.emplace_back();
    }
    return options;
}

}  // namespace

Options parseOptions(const Words& words) {
    using Mode = Options::Mode;
    if (words.size() == 1) {
        return {Mode::Help, words, false};
    }
    const auto& first = words[1];
    if (words.size() == 2 && isOneOf(first, "-h", "--help")) {
        return {Mode::Help, words, false};
    }
    if (words.size() == 2 && first == "--version") {
        return {Mode::Version, words, false};
    }
    if (first == "--complete") {
        return parseCompletion(words);
    }
    return isSessionOption(first) ? parseSession(words) : Options{Mode::Type, words, false};
}

Words completeOption(const std::string& text) {
    return choose({"--help", "--interactive", "--keep-going", "--version"}, text);
}

}  // namespace Dch
