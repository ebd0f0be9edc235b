// Compares what was pulled with what a run's frontends say.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "InfoObjectCollections.pb.h"
#include "expectation.hpp"
#include "ledger.hpp"
#include "pulledCollection.hpp"

namespace QdxLoad {

// When the filters began to collect.
enum class Began {
    Sometime,          // values may lack in front of the first that was pulled
    BeforeFirstSample  // and with memory for all: they may lack in front of a full list alone, and
                       // if any series of a kind is listed, all that delivered something are
};

// Finds, one line each:
//
//     foreign     a value or a collection of another series, or of none of the run
//     invented    a value that no frontend sent
//     undelivered a value that was dropped, or went to an earlier collector, and came all the same
//     duplicate   a value that came twice
//     reordered   a value that came behind a later one
//     lost        values that the collector got, that stand between, behind or, see Began, in front
//                 of those pulled, and are not there
//     damaged     a record whose checksum is wrong; a list with more values than timestamps
//     window      minima, maxima, averages or sums of n samples, that no n values in a row give
//
// Windows of seconds can't be checked and are counted. The pull must have been made after the run,
// with the collector of its end. Lists must have had memory for their values.
//
// One thread. The ledger must outlive it.
class Checker {
public:
    Checker(const Ledger& runLedger, Began filtersBegan) : ledger(runLedger), began(filtersBegan) {}

    void check(const Qdx::InfoObjectCollections& pull);
    // After all pulls: finds series that are not in any.
    void finish();

    const std::vector<std::string>& violations() const { return found; }
    std::uint64_t checkedCollections() const { return collections; }
    std::uint64_t checkedValues() const { return values; }
    std::uint64_t windowsOfSeconds() const { return unchecked; }

private:
    void check(const PulledCollection& pulled);
    void checkList(const PulledCollection& pulled);
    void checkWindows(const PulledCollection& pulled);
    void reportLost(const std::string& name, const Expectation& expected,
                    const std::vector<bool>& seen, std::size_t from);
    std::string explain(const Series& series, std::int64_t value, std::size_t kept) const;
    void report(const std::string& what) { found.push_back(what); }

    const Ledger& ledger;
    const Began began;
    std::vector<std::string> found;
    std::uint64_t collections = 0;
    std::uint64_t values = 0;
    std::uint64_t unchecked = 0;
    std::set<std::uint64_t> listed;  // numbers of series
};

}  // namespace QdxLoad
