// The classes that samples end in, and the sheet on which they are counted.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <string_view>

#include "ledger.hpp"

namespace QdxLedger {

// From the least to the most that can become of a sample. The first five are dropped by the
// frontend, one for each QdxLoad::Cause.
enum class End : std::uint8_t {
    NotConnected,
    RefusedRevision,
    SlowCollector,
    NoMemory,
    TooLargeForMessage,
    LostWithCollector,  // sent to one that is gone
    NotCaptured,        // the filter doesn't want the object or the context
    NotOffered,         // the filter was not there, or disabled
    Refused,            // no memory for the pair, or for the first value of an empty history
    TooLarge,           // a record that didn't fit into a list emptied of all others
    CutOff,             // a record without memory for its way in, or behind such a one in its batch
    Unrestored,         // records that a list lost in trying to take one too large
    GivenWay,           // to newer ones
    Cleared,            // unseen: by a clear, with the filter, or while it was disabled
    Taken,              // by a clearing pull
    OpenWindow,         // of a window that is not yet closed
    InWindow,
    InList
};
inline constexpr std::size_t endCount = 18;
static_assert(QdxLoad::causeCount == 5);
std::string_view nameOf(End end);

using Counts = std::array<std::uint64_t, endCount>;

inline std::uint64_t& at(Counts& counts, End end) {
    return counts[static_cast<std::size_t>(end)];
}
std::uint64_t sumOf(const Counts& counts);

// Rows are clauses of filters, each with every sample of the run once for each filter that had it.
class BalanceSheet {
public:
    void add(const std::string& row, const Counts& counts);

    // A table for people, classes that occur downwards and rows across.
    void print(std::ostream& out) const;
    // A line of names, then one for each row; all classes.
    void printCsv(std::ostream& out) const;

    // REQUIRES: the row was added.
    const Counts& of(const std::string& row) const { return rows.at(row); }

private:
    std::map<std::string, Counts> rows;
};

}  // namespace QdxLedger
