// The text that a pull prints, and the messages inside it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "InfoObjectCollections.pb.h"

namespace Qdx::Pull {

// More than any collector keeps, and little enough to be held in memory as text, bytes, messages
// and series.
inline constexpr std::size_t longestPullText = std::size_t{16} << 20;

// The messages between "<QdxOutput>" and "</QdxOutput>", in the order of the text; what stands
// around them is ignored. White space between the markers, as a copy from a terminal brings it, is
// skipped. Throws BadData, with the source's name, when there is no message, or one that is
// damaged.
std::vector<Qdx::InfoObjectCollections> readPulls(std::string_view text, const std::string& source);

}  // namespace Qdx::Pull
