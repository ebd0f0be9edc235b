#include "utf8.hpp"

#include <algorithm>

namespace Qdx::Pull {

namespace {

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

}  // namespace

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

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

std::string validPart(std::string_view text) {
    std::string valid;
    while (!text.empty()) {
        const auto size = characterSize(text);
        valid += text.substr(0, size);
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return valid;
}

}  // namespace Qdx::Pull
