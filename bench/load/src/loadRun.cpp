#include "loadRun.hpp"

#include <algorithm>
#include <future>
#include <latch>

#include "loadFrontend.hpp"

namespace QdxLoad {
namespace {

using Qdx::Frontend::Clock;

// What the threads of a run share.
struct Shared {
    explicit Shared(std::uint32_t frontends) : ready(frontends), fed(frontends) {}

    std::latch ready;
    std::latch fed;
    std::atomic<bool> failed = false;
};

// Counts down when it goes, whyever.
class CountDown {
public:
    explicit CountDown(std::latch& latch) : counted(latch) {}
    ~CountDown() { counted.count_down(); }
    CountDown(const CountDown&) = delete;
    CountDown& operator=(const CountDown&) = delete;

private:
    std::latch& counted;
};

FrontendOutcome runFrontend(const Plan& plan, const Load& load, std::uint32_t number,
                            const std::atomic<bool>& stopped, Shared& shared) {
    std::optional<LoadFrontend> frontend;
    try {
        frontend.emplace(plan, load, number);
        frontend->connect(stopped);
    } catch (...) {
        shared.failed = true;
        shared.ready.count_down();
        shared.fed.count_down();
        throw;
    }
    shared.ready.arrive_and_wait();
    {
        const CountDown atEnd(shared.fed);
        if (!shared.failed) {
            frontend->feed(stopped);
        }
    }
    return frontend->finish();
}

}  // namespace

Outcome run(const Plan& plan, const Load& load, const std::atomic<bool>& stopped,
            const std::function<void(Phase)>& onPhase) {
    Shared shared(plan.frontends);
    std::vector<std::future<FrontendOutcome>> threads;
    for (std::uint32_t number = 0; number < plan.frontends; ++number) {
        threads.push_back(std::async(std::launch::async, [&plan, &load, number, &stopped, &shared] {
            return runFrontend(plan, load, number, stopped, shared);
        }));
    }
    shared.ready.wait();
    const auto begin = Clock::now();
    if (!shared.failed) {
        onPhase(Phase::Sending);
        shared.fed.wait();
        onPhase(Phase::Waiting);
    }
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
