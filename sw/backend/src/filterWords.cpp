#include "filterWords.hpp"

#include <algorithm>

namespace Qdx::Backend {

namespace {

bool isOneWord(std::string_view text) {
    constexpr unsigned char blank = 0x20;
    constexpr unsigned char del = 0x7F;
    return !text.empty() && std::none_of(text.begin(), text.end(), [](unsigned char byte) {
        return byte <= blank || byte == del;
    });
}

// A filter's line is " Filter NAME (ID): Enabled: ..."; the lines below it begin otherwise.
void addWordsOfLine(std::string_view line, std::vector<std::string>& words) {
    constexpr std::string_view before = " Filter ";
    constexpr std::string_view between = " (";
    const auto end = line.find("): Enabled: ");
    const auto middle = line.rfind(between, end);
    constexpr auto nowhere = std::string_view::npos;
    if (!line.starts_with(before) || end == nowhere || middle == nowhere ||
        middle < before.size()) {
        return;
    }
    const auto name = line.substr(before.size(), middle - before.size());
    const auto id = line.substr(middle + between.size(), end - middle - between.size());
    if (isOneWord(name) && name != id) {
        words.emplace_back(name);
    }
    words.emplace_back(id);
}

}  // namespace

void addFilterWords(std::string_view listing, std::vector<std::string>& words) {
    while (!listing.empty()) {
        const auto line = listing.substr(0, listing.find('\n'));
        addWordsOfLine(line, words);
        listing.remove_prefix(std::min(listing.size(), line.size() + 1));
    }
}

}  // namespace Qdx::Backend
