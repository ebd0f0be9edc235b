// A picture of the collector as lines for a terminal.
#pragma once

#include "picture.hpp"
#include "screen.hpp"
#include "view.hpp"

namespace Qdxview {

// What a picture is painted with.
struct Canvas {
    Size size{};
    Qdx::Pull::Glyphs glyphs = Qdx::Pull::Glyphs::Unicode;
    WallTime now{};
};

// As many lines as the canvas has: the collector, its filters, the series of the selected filter,
// and what can be typed.
Screen paint(const Picture& picture, const View& view, const Canvas& canvas);

// The series that paint() shows at once.
std::size_t seriesPage(const Picture& picture, const Size& size);

// The same for one that reads lines: as many as it takes, with the series of all filters.
Screen paintWhole(const Picture& picture, const Canvas& canvas);

}  // namespace Qdxview
