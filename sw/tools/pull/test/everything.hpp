// One pull with something of everything, and the catalogue that goes with most of it.
#pragma once

#include "InfoObjectCollections.pb.h"
#include "pull/catalogue.hpp"

namespace Qdx::Pull {

// Measurements, counters and records by every method, every key of a context, records of both known
// types, of an unknown one and one that is damaged, values without timestamp, context, aggregation
// or object in the catalogue, and texts that need quoting.
Qdx::InfoObjectCollections everything();

Catalogue catalogueOfEverything();

}  // namespace Qdx::Pull
