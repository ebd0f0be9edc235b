#include "numbers.hpp"

#include <algorithm>
#include <array>
#include <cctype>

namespace Dch {

namespace {

constexpr const char* transactionWord = "$transaction";
constexpr const char* filterWord = "$filter";

bool isStep(const Words& words, const char* step) {
    const std::array<const char*, 3> beginning{"dch", "fs", step};
    return words.size() >= beginning.size() &&
           std::equal(beginning.begin(), beginning.end(), words.begin());
}

std::optional<std::string> numberBehind(std::string_view prefix, std::string_view answer) {
    if (!answer.starts_with(prefix)) {
        return std::nullopt;
    }
    answer.remove_prefix(prefix.size());
    const auto end = std::find_if_not(answer.begin(), answer.end(),
                                      [](unsigned char byte) { return std::isdigit(byte) != 0; });
    if (end == answer.begin() || end == answer.end() || *end != '\n') {
        return std::nullopt;
    }
    return std::string(answer.begin(), end);
}

std::string take(const std::optional<std::string>& number, const char* word, const char* step) {
    if (!number) {
        throw NoNumber(std::string("there is no ") + word + " yet; a 'dch fs " + step +
                       "' that succeeds gives it");
    }
    return *number;
}

}  // namespace

Words Numbers::replace(Words words) const {
    for (auto& word : words) {
        if (word == transactionWord) {
            word = take(transaction_, transactionWord, "create");
        } else if (word == filterWord) {
            word = take(filter_, filterWord, "commit");
        }
    }
    return words;
}

void Numbers::learn(const Words& words, std::string_view answer) {
    if (isStep(words, "create")) {
        transaction_ = numberBehind("Created transaction: ", answer);
    } else if (isStep(words, "commit")) {
        filter_ = numberBehind("Filter ID is: ", answer);
    }
}

const Words& numberWords() {
    static const Words words{filterWord, transactionWord};
    return words;
}

}  // namespace Dch
