// Sends a plan's samples to the collector of the unit.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "ledger.hpp"
#include "plan.hpp"
#include "qdx/frontend/statistics.hpp"

namespace QdxLoad {

// How far the frontends of a run are, for other threads.
struct Progress {
    std::array<std::atomic<std::uint64_t>, mostFrontends> added{};
};

struct Load {
    std::optional<double> samplesPerSecond = std::nullopt;  // of all frontends; none: flat out
    std::chrono::duration<double> duration = std::chrono::seconds(10);
    // Adds no sample while the queue to the collector is full, so that none is dropped for its
    // slowness.
    bool waits = false;

    Progress* progress = nullptr;  // kept up to date by the run; it must outlive it
    // Every so often all frontends stop; when the collector has handled all that they added,
    // atQuiet is called, on the thread of one of them, and they go on. It must not throw.
    std::optional<std::chrono::duration<double>> quietEvery = std::nullopt;
    std::function<void()> atQuiet = nullptr;
};

struct Outcome {
    Ledger ledger;
    std::vector<Qdx::Frontend::Statistics> statistics;  // of each frontend
    double seconds = 0;      // from the first sample until the collector had handled all
    bool allHandled = true;  // the collector confirmed that
};

enum class Phase { Sending, Waiting };

// Runs each frontend on a thread of its own, its mailbox being "QdxLoad" and its number, and
// returns when the collector has handled everything, or hasn't for 10 seconds. All begin together
// when all are connected; when stopped becomes true they end early. Calls
// onPhase when they begin, and when all wait for the collector to take the rest. Throws
// std::runtime_error, with one line, if there is no collector for 10 seconds, or no mailbox to be
// had.
Outcome run(const Plan& plan, const Load& load, const std::atomic<bool>& stopped,
            const std::function<void(Phase)>& onPhase);

}  // namespace QdxLoad
