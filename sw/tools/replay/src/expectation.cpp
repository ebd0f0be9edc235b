#include "expectation.hpp"

#include <algorithm>

namespace Replay {

namespace {

constexpr std::size_t mostToShow = 300;

// What would do something to a terminal, or isn't ASCII, as question marks.
std::string plain(std::string line) {
    std::ranges::replace_if(
        line, [](char byte) { return byte < ' ' || byte > '~'; }, '?');
    return line;
}

// The line that begins there, as it is shown.
std::string lineAt(const std::string& text, std::size_t begin) {
    if (begin == text.size()) {
        return "(the end)";
    }
    const auto line = plain(text.substr(begin, text.find('\n', begin) - begin));
    return line.size() <= mostToShow ? line : line.substr(0, mostToShow).append("...");
}

}  // namespace

std::optional<std::string> firstDifference(const std::string& expected, const std::string& actual) {
    const auto shorter = std::min(expected.size(), actual.size());
    const auto end = expected.begin() + static_cast<std::ptrdiff_t>(shorter);
    const auto parting = std::mismatch(expected.begin(), end, actual.begin()).first;
    const auto same = static_cast<std::size_t>(parting - expected.begin());
    if (same == expected.size() && same == actual.size()) {
        return std::nullopt;
    }
    const auto begin = expected.substr(0, same).rfind('\n') + 1;  // 0 without one
    const auto line = std::count(expected.begin(), parting, '\n') + 1;
    std::string text = "line " + std::to_string(line);
    text.append(" differs\n  expected: ").append(lineAt(expected, begin));
    text.append("\n  came:     ").append(lineAt(actual, begin));
    return text;
}

}  // namespace Replay
