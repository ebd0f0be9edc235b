// Follows the batches of a connection from its counters.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>
#include <vector>

#include "ledger.hpp"
#include "qdx/frontend/statistics.hpp"

namespace QdxLoad {

// A connection counts batches, not which samples were in them. But its queue is first in, first
// out, and a batch is closed in front of the sample that doesn't fit: whoever looks after every
// sample added, and after everything else that can send, knows the samples of each batch and what
// became of them.
//
// One thread.
class BatchFates {
public:
    // Call after each sample added, with that sample's index as boundary; after all else that
    // handles or sends messages, and from the connection's onStateChange, with the number of
    // samples added: the first sample that a batch closed meanwhile does not hold. What was sent
    // since the call before counts for the connection that was up then. Throws
    // std::logic_error if a batch left the queue without being counted.
    void observe(const Qdx::Frontend::Statistics& now, std::size_t waitingBatches,
                 std::uint64_t boundary);

    // Everything so far, up to the sample added last. REQUIRES: all samples were observed.
    std::vector<Range> ranges(std::uint64_t added) const;

private:
    void close(std::uint64_t boundary);
    void settleOldest(Fate fate, std::uint64_t number, Cause cause);

    Qdx::Frontend::Statistics last;
    std::uint64_t closedBatches = 0;
    std::uint64_t openFirst = 0;                                // of the batch that gathers samples
    std::deque<std::pair<std::uint64_t, std::uint64_t>> queue;  // first and end of those that wait
    std::vector<Range> settled;
};

// The drops of the statistics, in the order of Cause.
std::array<Qdx::Frontend::Drops, causeCount> dropsByCause(const Qdx::Frontend::Statistics& counts);

}  // namespace QdxLoad
