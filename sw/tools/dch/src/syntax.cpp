#include "syntax.hpp"

#include <algorithm>

namespace Dch {

namespace {

// Cuts the text at its first character of the set, or nowhere: gives what is before, and leaves
// what is behind.
std::string_view cutAt(std::string_view& text, std::string_view set) {
    const auto end = std::min(text.find_first_of(set), text.size());
    const auto before = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return before;
}

std::string trim(std::string_view text) {
    const auto begin = std::min(text.find_first_not_of(blanks), text.size());
    const auto end = text.find_last_not_of(blanks) + 1;
    return std::string(text.substr(begin, end - std::min(begin, end)));
}

Words splitChoices(std::string_view text) {
    Words choices;
    while (!text.empty()) {
        choices.push_back(trim(cutAt(text, "|")));
    }
    return choices;
}

Place cutPlace(std::string_view& syntax) {
    if (syntax.starts_with('<')) {
        syntax.remove_prefix(1);
        return {{}, trim(cutAt(syntax, ">"))};
    }
    if (syntax.starts_with('{')) {
        syntax.remove_prefix(1);
        return {splitChoices(cutAt(syntax, "}")), ""};
    }
    return {{std::string(cutAt(syntax, blanks))}, ""};
}

}  // namespace

bool Place::takes(const std::string& word) const {
    return choices.empty() || std::find(choices.begin(), choices.end(), word) != choices.end();
}

std::vector<Place> parseSyntax(std::string_view syntax) {
    std::vector<Place> places;
    for (;;) {
        syntax.remove_prefix(std::min(syntax.find_first_not_of(blanks), syntax.size()));
        if (syntax.empty()) {
            return places;
        }
        places.push_back(cutPlace(syntax));
    }
}

const Place* findPlaceBehind(const std::vector<Place>& places, const Words& words) {
    return words.size() < places.size() && fit(places, words) ? &places[words.size()] : nullptr;
}

bool fit(const std::vector<Place>& places, const Words& words) {
    if (places.empty() || (words.size() > places.size() && !places.back().choices.empty())) {
        return false;
    }
    return std::equal(
        words.begin(),
        words.begin() + static_cast<std::ptrdiff_t>(std::min(words.size(), places.size())),
        places.begin(),
        [](const std::string& word, const Place& place) { return place.takes(word); });
}

}  // namespace Dch
