#include "followedRun.hpp"

#include <exception>
#include <future>
#include <iterator>
#include <optional>
#include <sstream>
#include <thread>
#include <utility>

#include "tessel/commandClient.hpp"

namespace QdxLedger {
namespace {

using namespace std::chrono_literals;
using QdxLoad::Phase;

constexpr auto patience = 30s;  // with an answer

// A shell that comes after a collector's socket.
Answer typeAtCollector(const std::string& line) {
    std::istringstream stream(line);
    const std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
    Answer answer;
    const auto take = [&answer](std::string_view piece) { answer.output.append(piece); };
    answer.status =
        Tessel::CommandClient::run(words, {.output = take, .error = take}, {.limit = patience});
    return answer;
}

// Works while the load runs, until it is told to end.
void operate(Operator& worker, std::chrono::duration<double> pause, const std::stop_token& end) {
    while (!end.stop_requested()) {
        worker.step(Traffic::Flowing);
        std::this_thread::sleep_for(pause);
    }
}

// The operator on a thread of its own.
class Shift {
public:
    Shift(Operator& worker, std::chrono::duration<double> pause)
        : result(std::async(std::launch::async,
                            [this, &worker, pause] { operate(worker, pause, end.get_token()); })) {}
    ~Shift() { end.request_stop(); }
    Shift(const Shift&) = delete;
    Shift& operator=(const Shift&) = delete;

    // Throws what it threw.
    void finish() {
        end.request_stop();
        result.get();
    }

private:
    std::stop_source end;
    std::future<void> result;
};

QdxLoad::Outcome runFlowing(const Plan& plan, const QdxLoad::Load& load, const Follow& follow,
                            const std::atomic<bool>& stopped, Operator& worker,
                            const std::function<void(Phase)>& onPhase) {
    std::optional<Shift> shift;
    auto outcome = run(plan, load, stopped, [&](Phase phase) {
        onPhase(phase);
        if (phase == Phase::Sending) {
            shift.emplace(worker, follow.pause);
        } else {
            shift->finish();
        }
    });
    return outcome;
}

QdxLoad::Outcome runQuiet(const Plan& plan, QdxLoad::Load load, const Follow& follow,
                          const std::atomic<bool>& stopped, Operator& worker,
                          const std::function<void(Phase)>& onPhase) {
    std::exception_ptr failure;
    load.quietEvery = follow.pause;
    load.atQuiet = [&] {
        try {
            if (failure == nullptr) {
                worker.step(Traffic::Quiet);
            }
        } catch (...) {
            failure = std::current_exception();
        }
    };
    auto outcome = run(plan, load, stopped, onPhase);
    if (failure != nullptr) {
        std::rethrow_exception(failure);
    }
    return outcome;
}

}  // namespace

FollowedRun runFollowed(const Plan& plan, QdxLoad::Load load, const Follow& follow,
                        const std::atomic<bool>& stopped,
                        const std::function<void(Phase)>& onPhase) {
    QdxLoad::Progress progress;
    load.progress = &progress;
    Operator worker(plan, progress, typeAtCollector, follow.work);
    worker.begin();
    auto outcome = follow.whenQuiet
                       ? runQuiet(plan, std::move(load), follow, stopped, worker, onPhase)
                       : runFlowing(plan, load, follow, stopped, worker, onPhase);
    if (outcome.allHandled) {
        worker.finish();
    }
    return {.outcome = std::move(outcome), .journal = worker.journal()};
}

}  // namespace QdxLedger
