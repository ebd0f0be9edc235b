// Pulls by control clients: from a filter of a started collector over mailboxes to a sink, chunk by
// acknowledged chunk.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "InfoObjectCollections.pb.h"
#include "benchUnit.hpp"
#include "control/blockingClient.hpp"
#include "frontendMessages.hpp"
#include "tessel/activeObject.hpp"
#include "wireFormat.hpp"
#include "workload.hpp"

namespace {

using namespace Qdx;
using Tessel::ActiveObject::V1::ActiveObjectIf;
using Tessel::ActiveObject::V1::SchedulingPolicy;

constexpr std::size_t series = 1000;
constexpr std::size_t listSize = 100;

// Messages of up to that many bytes, in both ends of the connection.
class MaximumSize {
public:
    explicit MaximumSize(std::int64_t bytes) {
        setenv("OZO_MAX_SIZE", std::to_string(bytes).c_str(), 1);
    }
    ~MaximumSize() { unsetenv("OZO_MAX_SIZE"); }
    MaximumSize(const MaximumSize&) = delete;
    MaximumSize& operator=(const MaximumSize&) = delete;
};

// A started collector with full lists in filter "0", on an active object of its own.
class FullCollector {
public:
    FullCollector()
        : collector(Bench::collectorWith({"tags BENCH list count " + std::to_string(listSize)})) {
        fill();
        run([this] {
            collector->publishOZO();
            collector->setupMessageHandlers();
        });
    }
    ~FullCollector() {
        run([] { ozo_delete_mailbox(ozo_locate(V1::collectorMailbox)); });
    }
    FullCollector(const FullCollector&) = delete;
    FullCollector& operator=(const FullCollector&) = delete;

private:
    void fill() {
        RadioMetaData radio;
        radio.set_swproductnumber("1");
        radio.set_swproductrevision("2");
        radio.set_hwproductnumber("3");
        radio.set_hwproductrevision("4");
        radio.set_hwserialnumber("5");
        radio.set_hwname("radio");
        const std::shared_ptr<ozo_msg> metaData(V1::toOzoMessage(V1::encodeMetaData({}, radio)),
                                                ozo_free);
        collector->handleBeProcessMetaDataUreq(metaData.get());
        const Bench::Workload work(Bench::Kind::Measurement, series);
        for (std::size_t i = 0; i < listSize; ++i) {
            Bench::handleAll(*collector, work);
        }
    }

    void run(const std::function<void()>& function) {
        std::promise<void> done;
        thread->runOnActiveObject([&] {
            function();
            done.set_value();
        });
        done.get_future().wait();
    }

    std::unique_ptr<Backend::Quardex> collector;
    std::shared_ptr<ActiveObjectIf> thread = ActiveObjectIf::create(
        "collector", [] {}, SchedulingPolicy{0});
};

void require(const Control::Result& result) {
    if (!result.isDone()) {
        throw std::runtime_error(result.text);
    }
}

// A chunk is one round trip: its acknowledgement fetches the next.
void controlPull(benchmark::State& state) {
    FullCollector collector;
    const MaximumSize size(state.range(0));
    Control::BlockingClient client;
    require(client.connect());
    std::size_t chunks = 0;
    std::size_t bytes = 0;
    for (auto _ : state) {
        require(client.pull({"0"}, [&](std::string_view chunk) {
            ++chunks;
            bytes += chunk.size();
            return true;
        }));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
    state.counters["chunks/s"] =
        benchmark::Counter(static_cast<double>(chunks), benchmark::Counter::kIsRate);
    state.counters["chunks/pull"] =
        benchmark::Counter(static_cast<double>(chunks), benchmark::Counter::kAvgIterations);
    state.counters["time/chunk"] = benchmark::Counter(
        static_cast<double>(chunks), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(controlPull)->ArgName("maxSize")->RangeMultiplier(2)->Range(1024, 131072)->UseRealTime();

// The least that an answer takes.
void controlRoundTrip(benchmark::State& state) {
    FullCollector collector;
    Control::BlockingClient client;
    require(client.connect());
    for (auto _ : state) {
        require(client.exchangeCapabilities());
    }
}
BENCHMARK(controlRoundTrip)->UseRealTime();

}  // namespace
