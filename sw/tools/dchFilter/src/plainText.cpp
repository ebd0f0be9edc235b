#include "plainText.hpp"

#include <algorithm>

namespace DchFilter {

std::string plainText(std::string_view text) {
    std::string plain(text);
    std::ranges::transform(plain, plain.begin(), [](char c) {
        const bool printable = c >= ' ' && c <= '~';
        return printable ? c : c == '\t' ? ' ' : '?';
    });
    return plain;
}

}  // namespace DchFilter
