// Where in each frontend's samples the operations of a journal took place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "expectation.hpp"
#include "journal.hpp"
#include "ledger.hpp"

namespace QdxLedger {

using QdxLoad::Delivery;
using QdxLoad::Ledger;

// Every step-th delivery of a series, from one on.
struct Grid {
    const std::vector<Delivery>* deliveries;
    std::size_t offset;
    std::size_t step;
};

// The collector handles batches and commands one at a time, so that an operation stands between two
// batches of each frontend, and not before the operation in front of it. Its position is an index:
// the collector had handled what was sent of the samples before it. From outside it isn't seen; but
// what is pulled bounds it. Whoever knows something says so, and solve() finds the earliest
// positions that agree with everything, or that there are none.
//
// Used as (after before fewer aligned)* solve of*. The ledger and the grids must outlive it. One
// thread.
class Positions {
public:
    Positions(const Ledger& runLedger, const Journal& runJournal);

    // The sample had been handled, or had not. The name tells who says so.
    void after(std::size_t operation, std::uint32_t frontend, std::uint64_t index,
               const std::string& name);
    void before(std::size_t operation, std::uint32_t frontend, std::uint64_t index,
                const std::string& name);
    // Between the two operations fewer than so many of the grid's deliveries were handled.
    void fewer(std::size_t from, std::size_t to, std::uint32_t frontend, const Grid& grid,
               std::size_t bound);
    // The first delivery handled after the operation is one of the grid.
    void aligned(std::size_t operation, std::uint32_t frontend, const Grid& grid);

    // Gives a line for each frontend for which there are no positions.
    std::vector<std::string> solve();

    std::uint64_t of(std::size_t operation, std::uint32_t frontend) const {
        return bounds[frontend][operation].low;
    }

private:
    struct Bounds {
        std::uint64_t low = 0;
        std::uint64_t high = 0;
        std::string lowName = {};
        std::string highName = {};
    };
    struct Fewer {
        std::size_t from;
        std::size_t to;
        Grid grid;
        std::size_t bound;
    };
    struct Aligned {
        std::size_t operation;
        Grid grid;
    };

    std::uint64_t roundUp(std::uint32_t frontend, std::uint64_t position) const;
    std::uint64_t roundDown(std::uint32_t frontend, std::uint64_t position) const;
    bool raise(std::size_t operation, std::uint32_t frontend, std::uint64_t low,
               const std::string& name);
    bool raiseAll(std::uint32_t frontend);
    bool apply(const Fewer& rule, std::uint32_t frontend);
    bool apply(const Aligned& rule, std::uint32_t frontend);
    std::string conflict(std::uint32_t frontend) const;

    const Journal& journal;
    std::vector<std::vector<std::uint64_t>> ends;  // of the batches that arrived, by frontend
    std::vector<std::vector<Bounds>> bounds;       // by frontend, then by operation
    std::vector<std::vector<Fewer>> fewerRules;    // by frontend
    std::vector<std::vector<Aligned>> alignedRules;
};

}  // namespace QdxLedger
