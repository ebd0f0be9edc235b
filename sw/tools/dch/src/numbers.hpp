// The numbers that the collector gives out, for lines that are written before they are known.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "words.hpp"

namespace Dch {

// A line refers to a number that there isn't; the text says which, and what gives one.
class NoNumber : public std::runtime_error {
    using runtime_error::runtime_error;
};

// What the words "$transaction" and "$filter" stand for: the numbers that the latest "dch fs
// create" and "dch fs commit" answered. One that failed leaves none: what follows must not reach an
// older transaction or filter.
class Numbers {
public:
    // The longest answer that gives a number.
    static constexpr std::size_t longestAnswer = 64;

    // The words with the numbers in their places. Throws NoNumber.
    Words replace(Words words) const;

    // Takes note of a command and the beginning of its answer.
    void learn(const Words& words, std::string_view answer);

private:
    std::optional<std::string> transaction_;
    std::optional<std::string> filter_;
};

// "$filter" and "$transaction".
const Words& numberWords();

}  // namespace Dch
