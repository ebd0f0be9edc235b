// The syntax of a subcommand, place by place: "dch filter pull { keep | clear } <filterId>".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "words.hpp"

namespace Dch {

// Where one word stands: a parameter, or else one of some words.
struct Place {
    Words choices;          // one for a plain word, several for "{ keep | clear }"
    std::string parameter;  // "filterId" for "<filterId>"; empty if the place has choices

    bool takes(const std::string& word) const;

    friend bool operator==(const Place&, const Place&) = default;
};

// A bracket that isn't closed reaches to the end.
std::vector<Place> parseSyntax(std::string_view syntax);

// The place behind words that all fit, null if some don't or nothing more can be typed. Any number
// of words fits a parameter at the end.
const Place* findPlaceBehind(const std::vector<Place>& places, const Words& words);

// Whether the words are a beginning of what the places take, or all of it.
bool fit(const std::vector<Place>& places, const Words& words);

}  // namespace Dch
