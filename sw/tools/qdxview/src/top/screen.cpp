#include "screen.hpp"

namespace Qdxview {

std::size_t widthOf(const Line& line) {
    std::size_t width = 0;
    for (const auto& span : line) {
        width += Qdx::Pull::columns(span.text);
    }
    return width;
}

std::string textOf(const Line& line) {
    std::string text;
    for (const auto& span : line) {
        text += span.text;
    }
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

Line cutLine(const Line& line, std::size_t width, Qdx::Pull::Glyphs glyphs) {
    Line cut;
    for (const auto& span : line) {
        const auto left = width - widthOf(cut);
        cut.push_back({Qdx::Pull::cutTo(span.text, left, glyphs), span.style});
        if (Qdx::Pull::columns(span.text) > left) {
            break;
        }
    }
    return cut;
}

Line spread(Line left, const Span& right, std::size_t width) {
    const auto used = widthOf(left) + Qdx::Pull::columns(right.text);
    if (used < width) {
        left.push_back({std::string(width - used, ' ')});
        left.push_back(right);
    }
    return left;
}

Line restyled(Line line, Style style) {
    for (auto& span : line) {
        span.style = style;
    }
    return line;
}

}  // namespace Qdxview
