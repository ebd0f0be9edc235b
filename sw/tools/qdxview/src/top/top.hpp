// The live view of a collector.
#pragma once

#include <chrono>
#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "pull/terminalText.hpp"

namespace Qdxview {

struct TopOptions {
    std::vector<std::string> filters;  // names or ids; empty for all
    std::string catalogue;             // an info object list file; empty for the unit's own
    std::chrono::milliseconds period{2'000};
    Qdx::Pull::Glyphs glyphs = Qdx::Pull::Glyphs::Unicode;
};

// Shows the collector on the terminal until the user leaves. Gives the signal that ended it, or 0.
// Throws NoTerminal, what reading the catalogue throws, and std::system_error.
int showTop(const TopOptions& options);

// Pulls once and writes the picture, in so many columns. Throws NoAnswer if there is no collector
// or no filter of those that were named, and what reading the catalogue throws.
void printTop(std::ostream& out, const TopOptions& options, std::size_t width);

}  // namespace Qdxview
