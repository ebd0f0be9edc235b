// Follows every sample of a run to its end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "balance.hpp"
#include "journal.hpp"
#include "ledger.hpp"

namespace QdxLedger {

enum class Memory {
    Suffices,  // for all that the filters may keep
    MayRefuse
};

struct Audit {
    // One line each. What stands in front of the colon:
    //
    //     foreign, invented, undelivered, duplicate, reordered, lost, damaged, window
    //                 as QdxLoad::Checker has them
    //     reappeared  a value that had been taken by a clearing pull, cleared, or had given way
    //     vanished    a history that is empty, though it was not and wasn't cleared
    //     shrunk      one that keeps fewer values than before
    //     too many    one that keeps more than it may
    //     apart       histories of a pair that can't have begun with the same sample
    //     order       pulls that contradict each other, or the order of the commands
    //     balance     classes that don't add up to the samples
    std::vector<std::string> violations;
    // A row for each clause, with every sample of the run once for each filter and each time
    // that the filter was enabled, and a last one, "every sample", by the most that became of it.
    // Without rows if there are violations that leave the positions open.
    BalanceSheet sheet;
    std::uint64_t pulls = 0;
    std::uint64_t values = 0;  // in all pulls
};
inline constexpr const char* everySample = "every sample";

// Compares all that was pulled with what the rules make of what was sent. Knows nothing of the
// collector but its rules, which stand in history.hpp, positions.hpp and here:
//
// A pair, a series that a filter captures, has memory for all its histories or for none: they
// begin with the same sample, which is the first if memory suffices.
//
// REQUIRES: of a filter's statements, no two keep the same history of a series; the last pull of
// each filter that is there at the end is the last operation on it.
//
// Takes time with the samples, the filters and the pulls, and memory for all of them.
Audit audit(const QdxLoad::Ledger& ledger, const Journal& journal, Memory memory);

}  // namespace QdxLedger
