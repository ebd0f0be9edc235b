// Samples end to end: from a frontend's thread over the mailbox to the filters of a started
// collector.
#include <benchmark/benchmark.h>

#include <future>
#include <stdexcept>

#include "benchUnit.hpp"
#include "frontendMessages.hpp"
#include "tessel/activeObject.hpp"
#include "wireFormat.hpp"

namespace {

using namespace Qdx;
using Tessel::ActiveObject::V1::ActiveObjectIf;
using Tessel::ActiveObject::V1::SchedulingPolicy;

constexpr std::size_t series = 1000;
// Small enough for the queue of a mailbox that is read all the time.
constexpr int batchesInFlight = 8;

// A started collector with one filter, on an active object of its own.
class StartedCollector {
public:
    StartedCollector() : collector(Bench::collectorWith(1, "tags BENCH max count 10 100")) {
        std::promise<void> started;
        thread = ActiveObjectIf::create(
            "collector",
            [&] {
                collector->publishOZO();
                collector->setupMessageHandlers();
                started.set_value();
            },
            SchedulingPolicy{0});
        started.get_future().wait();
    }
    ~StartedCollector() {
        std::promise<void> stopped;
        thread->runOnActiveObject([&] {
            ozo_delete_mailbox(ozo_locate(V1::collectorMailbox));
            stopped.set_value();
        });
        stopped.get_future().wait();
    }
    StartedCollector(const StartedCollector&) = delete;
    StartedCollector& operator=(const StartedCollector&) = delete;

private:
    std::unique_ptr<Backend::Quardex> collector;
    std::shared_ptr<ActiveObjectIf> thread;
};

// Returns once the collector has handled all that was sent before.
void waitUntilHandled(std::uint32_t collectorMailbox) {
    const auto request = V1::encodeConnectionRequest({}, {V1::protocolRevision});
    ozo_send(V1::toOzoMessage(request), collectorMailbox, OZO_MY_MAILBOX);
    auto* reply = ozo_receive(20'000);
    if (reply == nullptr) {
        throw std::runtime_error("the collector doesn't answer");
    }
    ozo_free(reply);
}

void mailbox(benchmark::State& state) {
    const StartedCollector collector;
    const auto mailbox = ozo_create_mailbox("BenchFrontend", 0);
    const auto to = ozo_locate(V1::collectorMailbox);
    const auto batch = Bench::measurementBatches(series).front();
    for (auto _ : state) {
        for (int i = 0; i < batchesInFlight; ++i) {
            ozo_send(V1::toOzoMessage(V1::bytesOf(batch.get())), to, OZO_MY_MAILBOX);
        }
        waitUntilHandled(to);
    }
    if (ozo_get_drops().queue_full > 0) {
        state.SkipWithError("batches were dropped");
    }
    ozo_delete_mailbox(mailbox);
    state.counters["samples/s"] = benchmark::Counter(static_cast<double>(series * batchesInFlight),
                                                     benchmark::Counter::kIsIterationInvariantRate);
    state.counters["bytes/batch"] = static_cast<double>(ozo_size(batch.get()));
}
BENCHMARK(mailbox)->UseRealTime();

}  // namespace
