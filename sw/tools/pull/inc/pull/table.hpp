// A pull as a table for people.
#pragma once

#include <cstddef>
#include <ostream>

#include "InfoObjectCollections.pb.h"
#include "pull/catalogue.hpp"
#include "pull/terminalText.hpp"

namespace Qdx::Pull {

struct TableStyle {
    std::size_t width = 100;  // columns of the terminal
    Glyphs glyphs = Glyphs::Unicode;
};

// The radio, a summary, then a row for each collection: name (the id where the catalogue has
// none), context, aggregation, number of values, newest values, plot. On a narrow terminal older
// values give way first, then the plot; the other columns keep their widths.
void printTable(std::ostream& out, const Qdx::InfoObjectCollections& message,
                const Catalogue& catalogue, const TableStyle& style);

}  // namespace Qdx::Pull
