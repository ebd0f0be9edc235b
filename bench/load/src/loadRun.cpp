#include "loadRun.hpp"

#include <algorithm>
#include <barrier>
#include <future>
#include <latch>

#include "loadFrontend.hpp"

namespace QdxLoad {
namespace {

using Qdx::Frontend::Clock;

// What happens when all frontends are quiet.
struct AtQuiet {
    const Load& load;
    const std::atomic<bool>& failed;

    void operator()() const noexcept {
        if (!failed) {
            load.atQuiet();
        }
    }
};

// What the threads of a run share.
struct Shared {
    Shared(std::uint32_t frontends, const Load& load)
        : ready(frontends), fed(frontends), quiet(frontends, AtQuiet{load, failed}) {}

    std::atomic<bool> failed = false;
    std::latch ready;
    std::latch fed;
    std::barrier<AtQuiet> quiet;
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

// Feeds in slices with a quiet point behind each; all frontends have as many.
void feedInSlices(LoadFrontend& frontend, const Load& load, const std::atomic<bool>& stopped,
                  Shared& shared) {
    auto left = load.duration;
    for (; left.count() > 0 && !stopped && !shared.failed; left -= *load.quietEvery) {
        frontend.feed(stopped, std::min(left, *load.quietEvery));
        if (!frontend.settle()) {
            shared.failed = true;
        }
        shared.quiet.arrive_and_wait();
    }
}

void feed(LoadFrontend& frontend, const Load& load, const std::atomic<bool>& stopped,
          Shared& shared) {
    if (!load.quietEvery) {
        return frontend.feed(stopped, load.duration);
    }
    try {
        feedInSlices(frontend, load, stopped, shared);
    } catch (...) {
        shared.failed = true;
        shared.quiet.arrive_and_drop();
        throw;
    }
    shared.quiet.arrive_and_drop();
}

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
            feed(*frontend, load, stopped, shared);
        }
    }
    return frontend->finish();
}

}  // namespace

Outcome run(const Plan& plan, const Load& load, const std::atomic<bool>& stopped,
            const std::function<void(Phase)>& onPhase) {
    Shared shared(plan.frontends, load);
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
