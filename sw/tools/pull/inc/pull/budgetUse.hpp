// What the series of a pull take of the budget of the filter that keeps them.
#pragma once

#include <cstdint>

#include "InfoObjectCollections.pb.h"

namespace Qdx::Pull {

// An estimate in bytes, by the arithmetic of doc/memory.md: for each series its structures and its
// values with their room to grow. What a pull doesn't show isn't in it: the filter itself, objects
// and contexts that it doesn't capture, windows without a value yet.
std::uint64_t budgetUseOf(const Qdx::InfoObjectCollections& message);

}  // namespace Qdx::Pull
