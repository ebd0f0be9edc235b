// A run whose samples are all followed.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>

#include "audit.hpp"
#include "loadRun.hpp"
#include "operator.hpp"

namespace QdxLedger {

struct Follow {
    Work work = {};
    // The filters are worked on only while the collector has nothing to handle: whatever is done
    // to them then stands between two samples that are known.
    bool whenQuiet = false;
    std::chrono::duration<double> pause = std::chrono::milliseconds(100);  // between operations
};

struct FollowedRun {
    QdxLoad::Outcome outcome;
    Journal journal;
};

// Sends the load while an operator works on filters of its own, at the collector of the unit, which
// must have no others. Throws as QdxLoad::run() and Operator do. The load's progress and quiet
// points are this function's.
FollowedRun runFollowed(const Plan& plan, QdxLoad::Load load, const Follow& follow,
                        const std::atomic<bool>& stopped,
                        const std::function<void(QdxLoad::Phase)>& onPhase);

}  // namespace QdxLedger
