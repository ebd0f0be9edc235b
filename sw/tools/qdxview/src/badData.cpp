#include "badData.hpp"

#include "terminalText.hpp"

namespace Qdxview {

std::string quoteStart(std::string_view text) {
    constexpr std::size_t longest = 40;
    const bool whole = text.size() <= longest;
    return '"' + plainText(text.substr(0, longest), Glyphs::Ascii) + (whole ? "\"" : "...\"");
}

}  // namespace Qdxview
