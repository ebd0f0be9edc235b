#include "loadRun.hpp"

#include <algorithm>
#include <future>
#include <latch>

#include "loadFrontend.hpp"

namespace QdxLoad {
namespace {

using Qdx::Frontend::Clock;

// What the threads of a run share.
struct Start {
    explicit Start(std::uint32_t frontends) : ready(frontends) {}

    std::latch ready;
    std::atomic<bool> failed = false;
};

FrontendOutcome runFrontend(const Plan& plan, const Load& load, std::uint32_t number,
                            const std::atomic<bool>& stopped, Start& start) {
    std::optional<LoadFrontend> frontend;
    try {
        frontend.emplace(plan, load, number);
        frontend->connect(stopped);
    } catch (...) {
        start.failed = true;
        start.ready.count_down();
        throw;
    }
    start.ready.arrive_and_wait();
    if (!start.failed) {
        frontend->feed(stopped);
    }
    return frontend->finish();
}

}  // namespace

Outcome run(const Plan& plan, const Load& load, const std::atomic<bool>& stopped) {
    Start start(plan.frontends);
    std::vector<std::future<FrontendOutcome>> threads;
    for (std::uint32_t number = 0; number < plan.frontends; ++number) {
        threads.push_back(std::async(std::launch::async, [&plan, &load, number, &stopped, &start] {
            return runFrontend(plan, load, number, stopped, start);
        }));
    }
    start.ready.wait();
    const auto begin = Clock::now();
    Outcome outcome{.ledger = {.plan = plan, .frontends = {}}, .statistics = {}};
    for (auto& thread : threads) {
        auto result = thread.get();
        outcome.ledger.frontends.push_back(std::move(result.ledger));
        outcome.statistics.push_back(result.statistics);
        outcome.allHandled = outcome.allHandled && result.handled;
    }
    outcome.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    return outcome;
}

}  // namespace QdxLoad
