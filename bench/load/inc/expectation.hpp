// What the collector must have got of one series.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ledger.hpp"

namespace QdxLoad {

// The values that the last collector got, in order; of a counter with what it carried of those
// dropped before. Only the newest are kept.
struct Expectation {
    std::uint64_t total = 0;  // all that it may have got
    std::uint64_t certain =
        0;  // the first ones that it has; behind them it may have got any number
    std::vector<std::int64_t> newest;  // of the total

    // The place in the total of the first that is kept.
    std::uint64_t skipped() const { return total - newest.size(); }
};

// A value that the last collector got or, left waiting at the end, may have got.
struct Delivery {
    std::uint64_t index;  // of the sample, in its frontend
    std::int64_t value;
    friend bool operator==(const Delivery&, const Delivery&) = default;
};

// All of the series, in order. Takes time with the samples that the series had in the run.
std::vector<Delivery> deliveriesOf(const Ledger& ledger, const Series& series);

// Keeps at least `keep` values, if there are so many. Takes time with the samples that the series
// had in the run.
Expectation expect(const Ledger& ledger, const Series& series, std::size_t keep);

// Samples that the series had in the run.
std::uint64_t samplesOf(const Ledger& ledger, const Series& series);

// Where the series stands in its frontend's rounds: the index of its first sample.
std::uint64_t turnOf(const Plan& plan, const Series& series);

inline constexpr const char* sentToThisCollector = "was sent to this collector";

// What became of one of them, as a part of a sentence: "was dropped (slowCollector)". REQUIRES:
// sequence < samplesOf().
std::string fateOf(const Ledger& ledger, const Series& series, std::uint64_t sequence);

// Why a value can't be one that the last collector got of the series, as the beginning of a line:
// "foreign: 12 is of load:counter:1 clientId=0,deviceId=3". Empty if that got it, or it can't be
// said why not.
std::string originOf(const Ledger& ledger, const Series& series, std::int64_t value);

}  // namespace QdxLoad
