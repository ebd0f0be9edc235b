// What a terminal shows, line by line.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "pull/terminalText.hpp"

namespace Qdxview {

enum class Style {
    Plain,
    Heading,
    Selected,
    Faint,  // of the past, or of lesser weight
    Alert,
    Plot,
};

// Plain text: each character takes a column.
struct Span {
    std::string text;
    Style style = Style::Plain;

    friend bool operator==(const Span&, const Span&) = default;
};

using Line = std::vector<Span>;
using Screen = std::vector<Line>;

struct Size {
    std::size_t lines;
    std::size_t columns;
};

std::size_t widthOf(const Line& line);

// The text without its styles and without blanks at its end.
std::string textOf(const Line& line);

// At most so many columns of the line; a cut shows as an ellipsis.
Line cutLine(const Line& line, std::size_t width, Qdx::Pull::Glyphs glyphs);

// Both at the ends of a line of so many columns; the right one gives way.
Line spread(Line left, const Span& right, std::size_t width);

Line restyled(Line line, Style style);

}  // namespace Qdxview
