#include "batchFates.hpp"

#include <stdexcept>

namespace QdxLoad {
namespace {

std::uint64_t countClosed(const Qdx::Frontend::Statistics& counts, std::size_t waiting) {
    std::uint64_t closed = counts.sentBatches + waiting;
    for (const auto& drops : dropsByCause(counts)) {
        closed += drops.batches;
    }
    return closed;
}

}  // namespace

std::array<Qdx::Frontend::Drops, causeCount> dropsByCause(const Qdx::Frontend::Statistics& counts) {
    return {counts.notConnected, counts.refusedRevision, counts.slowCollector, counts.noMemory,
            counts.tooLarge};
}

void BatchFates::observe(const Qdx::Frontend::Statistics& now, std::size_t waitingBatches,
                         std::uint64_t boundary) {
    const auto closed = countClosed(now, waitingBatches);
    for (; closedBatches < closed; ++closedBatches) {
        close(boundary);
    }
    // A batch is dropped for the one that is closed then, and only if none could be sent before.
    const auto drops = dropsByCause(now);
    const auto dropsBefore = dropsByCause(last);
    for (std::size_t cause = 0; cause < causeCount; ++cause) {
        for (auto n = dropsBefore[cause].batches; n < drops[cause].batches; ++n) {
            settleOldest(Fate::Dropped, boundary, static_cast<Cause>(cause));
        }
    }
    for (auto n = last.sentBatches; n < now.sentBatches; ++n) {
        settleOldest(Fate::Sent, last.connections, {});
    }
    if (queue.size() != waitingBatches) {
        throw std::logic_error("a batch left the connection's queue without being counted");
    }
    last = now;
}

std::vector<Range> BatchFates::ranges(std::uint64_t added) const {
    auto result = settled;
    const auto first = queue.empty() ? openFirst : queue.front().first;
    if (first < added) {
        result.push_back({.first = first, .end = added, .fate = Fate::Waiting});
    }
    return result;
}

void BatchFates::close(std::uint64_t boundary) {
    queue.emplace_back(openFirst, boundary);
    openFirst = boundary;
}

void BatchFates::settleOldest(Fate fate, std::uint64_t number, Cause cause) {
    const auto [first, end] = queue.front();
    queue.pop_front();
    settled.push_back({.first = first, .end = end, .fate = fate, .number = number, .cause = cause});
}

}  // namespace QdxLoad
