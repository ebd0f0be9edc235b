// What somebody may have meant who wrote an unknown word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace DchFilter {

// The known word that takes the fewest letters inserted, dropped, replaced or swapped with their
// neighbour, the case of letters aside; empty if every one takes more than a third of the letters.
// Of equals, the first.
std::string nearestWord(std::string_view unknown, const std::vector<std::string>& known);

}  // namespace DchFilter
