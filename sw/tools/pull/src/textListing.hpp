// A pull as a line for each value, for people and for grep.
#pragma once

#include <ostream>

#include "InfoObjectCollections.pb.h"
#include "pull/catalogue.hpp"
#include "pull/terminalText.hpp"

namespace Qdx::Pull {

// In the order of the message:
//
//     2024-05-01T10:00:00Z tx:power rfBranch=3,carrierId=7 max count 10 43.10 dBm
//     2024-05-01T10:00:00Z 4711 - ? 24 bytes 0a05312e00000000
//
// that is time, name (the id where the catalogue has none), context, aggregation, value and unit.
// "-" stands for a time or context that there isn't, "?" for an aggregation that isn't told.
void writeText(std::ostream& out, const Qdx::InfoObjectCollections& message,
               const Catalogue& catalogue, Glyphs glyphs);

}  // namespace Qdx::Pull
