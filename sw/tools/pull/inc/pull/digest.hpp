// What a view keeps of a pull that it renews over and over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "InfoObjectCollections.pb.h"
#include "pull/catalogue.hpp"
#include "pull/terminalText.hpp"

namespace Qdx::Pull {

// A series by its newest values. The texts are plain: fit for a terminal, and of bounded length.
struct SeriesDigest {
    std::string name;         // the object's number where the catalogue has no name
    std::string context;      // "rfBranch=3,carrierId=7"; empty for a value without context
    std::string aggregation;  // "max count 10"; "?" if the collection doesn't tell
    std::size_t values = 0;   // of the whole series
    std::string newest;       // with its unit; of records, what the newest says
    std::optional<std::uint64_t> newestTime;  // seconds since the epoch
    std::vector<std::int64_t> numbers;        // the newest, oldest first; none of records
};

// Takes some megabytes at most, whatever the pull's size.
struct PullDigest {
    std::string radio;  // its name and serial number; empty if the pull tells neither
    std::vector<SeriesDigest> series;  // in the order of the pull, the first of them
    std::size_t seriesCount = 0;       // of the whole pull
    std::size_t values = 0;            // of the whole pull
    std::uint64_t budgetBytes = 0;     // see budgetUseOf()
};

PullDigest digestOf(const Qdx::InfoObjectCollections& message, const Catalogue& catalogue,
                    Glyphs glyphs);

// The newest numbers as a line of so many columns at most, one for each.
std::string plotOf(const SeriesDigest& series, std::size_t width, Glyphs glyphs);

}  // namespace Qdx::Pull
