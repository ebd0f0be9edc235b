// Cells below each other.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "pull/terminalText.hpp"

namespace Qdxview {

using Cells = std::vector<std::string>;

struct Column {
    std::string heading;
    bool numbers = false;       // aligned at the right
    std::size_t narrowest = 0;  // it may be cut down to this; 0: it may not be cut
    bool keepsEnd = false;      // it is its end that is kept
};

// How wide the columns of a table are, and its lines in these widths.
class Columns {
public:
    // Between columns.
    static constexpr std::size_t gap = 2;

    // Wide enough for headings and rows; if that takes more than the line, the columns are cut that
    // have most to give.
    Columns(std::vector<Column> shape, const std::vector<Cells>& rows, std::size_t line,
            Qdx::Pull::Glyphs look);

    std::size_t width() const;
    std::string headings() const;
    std::string text(const Cells& row) const;

private:
    // Takes a column's width of the one that has most to give; false if none has any.
    bool cutOne();
    std::string cell(std::size_t column, const std::string& text) const;

    std::vector<Column> columns;
    std::vector<std::size_t> widths;
    Qdx::Pull::Glyphs glyphs;
};

}  // namespace Qdxview
