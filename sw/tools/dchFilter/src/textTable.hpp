// Plain text laid out for a screen.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace DchFilter {

inline constexpr std::size_t screenWidth = 80;

// The words of the text in lines that fit the screen, each indented and with its end. A word that
// is longer than the screen has a line of its own.
std::string wrapped(std::string_view text, std::size_t indent);

// Rows of cells as lines: the first column to the left, the others to the right, two blanks between
// them, each row indented and without blanks at its end. All rows have as many cells as the first,
// at least one.
std::string laidOut(const std::vector<std::vector<std::string>>& rows, std::size_t indent);

}  // namespace DchFilter
