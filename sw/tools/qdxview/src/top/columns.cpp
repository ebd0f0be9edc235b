#include "columns.hpp"

#include <algorithm>
#include <numeric>

namespace Qdxview {

namespace {

// As much of the end of a plain text as fits.
std::string keepEnd(const std::string& text, std::size_t width, Qdx::Pull::Glyphs glyphs) {
    const auto size = Qdx::Pull::columns(text);
    if (size <= width || width == 0) {
        return Qdx::Pull::cutTo(text, width, glyphs);
    }
    const auto isFirstByte = [](char byte) { return (byte & 0xC0) != 0x80; };
    auto begin = text.begin();
    for (std::size_t dropped = 0; dropped < size - (width - 1); ++dropped) {
        begin = std::find_if(begin + 1, text.end(), isFirstByte);
    }
    return (glyphs == Qdx::Pull::Glyphs::Unicode ? "…" : "~") + std::string(begin, text.end());
}

}  // namespace

Columns::Columns(std::vector<Column> shape, const std::vector<Cells>& rows, std::size_t line,
                 Qdx::Pull::Glyphs look)
    : columns(std::move(shape)), glyphs(look) {
    for (const auto& column : columns) {
        widths.push_back(column.heading.size());
    }
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], Qdx::Pull::columns(row[i]));
        }
    }
    for (auto excess = width() - std::min(width(), line); excess > 0 && cutOne(); --excess) {
    }
}

bool Columns::cutOne() {
    std::size_t widest = 0;
    std::size_t most = 0;
    for (std::size_t i = 0; i < widths.size(); ++i) {
        const auto floor = columns[i].narrowest;
        const auto spare = floor == 0 || widths[i] < floor ? 0 : widths[i] - floor;
        if (spare > most) {
            widest = i;
            most = spare;
        }
    }
    widths[widest] -= most > 0 ? 1 : 0;
    return most > 0;
}

std::size_t Columns::width() const {
    return std::accumulate(widths.begin(), widths.end(), gap * (widths.size() - 1));
}

std::string Columns::headings() const {
    Cells row;
    for (const auto& column : columns) {
        row.push_back(column.heading);
    }
    return text(row);
}

std::string Columns::text(const Cells& row) const {
    std::string line;
    for (std::size_t i = 0; i < widths.size(); ++i) {
        line.append(i == 0 ? 0 : gap, ' ').append(cell(i, row[i]));
    }
    return line;
}

std::string Columns::cell(std::size_t column, const std::string& text) const {
    const auto width = widths[column];
    const auto cut = columns[column].keepsEnd ? keepEnd(text, width, glyphs)
                                              : Qdx::Pull::cutTo(text, width, glyphs);
    const std::string padding(width - Qdx::Pull::columns(cut), ' ');
    return columns[column].numbers ? padding + cut : cut + padding;
}

}  // namespace Qdxview
