#include "pull/terminalText.hpp"

#include <algorithm>
#include <cstdint>

namespace Qdx::Pull {

namespace {

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// How many bytes the first character of the text has, going by its first byte; 0 if no character
// begins with it.
std::size_t announcedSize(unsigned char first) {
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first < 0xE0) {
        return 2;
    }
    if (first >= 0xE0 && first < 0xF0) {
        return 3;
    }
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

// False for code points that have a shorter form, are surrogates, or lie past the last one.
bool isInRange(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    const auto second = static_cast<unsigned char>(character[1]);
    switch (first) {
        case 0xE0:
            return second >= 0xA0;
        case 0xED:
            return second < 0xA0;
        case 0xF0:
            return second >= 0x90;
        case 0xF4:
            return second < 0x90;
        default:
            return true;
    }
}

// The size of the UTF-8 character at the start of the text; 0 if there is none.
std::size_t characterSize(std::string_view text) {
    const auto size = announcedSize(static_cast<unsigned char>(text[0]));
    if (size <= 1) {
        return size;
    }
    const auto character = text.substr(0, size);
    const bool whole = character.size() == size &&
                       std::all_of(character.begin() + 1, character.end(), isContinuation);
    return whole && isInRange(character) ? size : 0;
}

bool isControl(std::string_view character) {
    const auto last = static_cast<unsigned char>(character.back());
    if (character.size() == 1) {
        return last < 0x20 || last == 0x7F;
    }
    // The second block of control characters, U+0080 to U+009F.
    return character.size() == 2 && character[0] == '\xC2' && last < 0xA0;
}

}  // namespace

std::string plainText(std::string_view text, Glyphs glyphs) {
    std::string plain;
    while (!text.empty()) {
        const auto size = characterSize(text);
        const auto character = text.substr(0, std::max<std::size_t>(size, 1));
        const bool shown =
            size != 0 && !isControl(character) && (size == 1 || glyphs == Glyphs::Unicode);
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
