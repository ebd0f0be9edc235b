#include "pull/badData.hpp"

#include "pull/terminalText.hpp"

namespace Qdx::Pull {

std::string quoteStart(std::string_view text) {
    constexpr std::size_t longest = 40;
    const bool whole = text.size() <= longest;
    return '"' + plainText(text.substr(0, longest), Glyphs::Ascii) + (whole ? "\"" : "...\"");
}

}  // namespace Qdx::Pull
