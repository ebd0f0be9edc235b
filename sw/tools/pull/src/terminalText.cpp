#include "pull/terminalText.hpp"

#include <algorithm>

#include "utf8.hpp"

namespace Qdx::Pull {

namespace {

bool isControl(std::string_view character) {
    const auto last = static_cast<unsigned char>(character.back());
    if (character.size() == 1) {
        return last < 0x20 || last == 0x7F;
    }
    // The second block of control characters, U+0080 to U+009F.
    return character.size() == 2 && character[0] == '\xC2' && last < 0xA0;
}

// Zero-width characters and directional marks, U+200B to U+200F, embeddings and overrides, U+202A
// to U+202E, and isolates, U+2066 to U+2069.
bool deceivesTheEye(std::string_view character) {
    const auto isWithin = [character](std::string_view first, std::string_view last) {
        return character >= first && character <= last;
    };
    return isWithin("\u200B", "\u200F") || isWithin("\u202A", "\u202E") ||
           isWithin("\u2066", "\u2069");
}

}  // namespace

std::string plainText(std::string_view text, Glyphs glyphs) {
    std::string plain;
    while (!text.empty()) {
        const auto size = characterSize(text);
        const auto character = text.substr(0, std::max<std::size_t>(size, 1));
        const bool shown = size != 0 && !isControl(character) && !deceivesTheEye(character) &&
                           (size == 1 || glyphs == Glyphs::Unicode);
        plain += shown ? character : "?";
        text.remove_prefix(character.size());
    }
    return plain;
}

std::size_t columns(std::string_view text) {
    return text.size() -
           static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isContinuation));
}

std::string cutTo(std::string_view text, std::size_t width, Glyphs glyphs) {
    if (columns(text) <= width) {
        return std::string(text);
    }
    const std::string_view ellipsis = glyphs == Glyphs::Unicode ? "…" : "~";
    std::size_t end = 0;
    for (std::size_t column = 0; column + 1 < width; ++column) {
        ++end;
        while (end < text.size() && isContinuation(text[end])) {
            ++end;
        }
    }
    return std::string(text.substr(0, end)).append(width == 0 ? "" : ellipsis);
}

}  // namespace Qdx::Pull
