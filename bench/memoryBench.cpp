// Bytes of budget that one captured pair of object and context takes, by aggregator, when it is
// full. Nothing is timed.
#include <benchmark/benchmark.h>

#include "benchUnit.hpp"

namespace {

using namespace Qdx;
using namespace Qdx::Backend;

constexpr std::size_t series = 1000;
constexpr std::size_t roundsUntilFull = 200;

struct Held {
    unsigned long main;
    unsigned long content;
};

Held held(const Quardex& collector) {
    auto* memory = collector.getFilterMemory(FilterId{0});
    return {memory->getMainResource()->getAllocatedSize(),
            memory->getContentResource()->getAllocatedSize()};
}

void memory(benchmark::State& state, const std::string& statement) {
    const auto collector = Bench::collectorWith(1, statement);
    const auto batches = Bench::measurementBatches(series);
    const auto empty = held(*collector);
    for (std::size_t round = 0; round < roundsUntilFull; ++round) {
        collector->setCurrTime(time_point(std::chrono::seconds(round)));
        for (const auto& batch : batches) {
            collector->handleBeProcessBatchesUreq(batch.get());
        }
    }
    const auto full = held(*collector);
    for (auto _ : state) {
        benchmark::DoNotOptimize(collector.get());
    }
    state.counters["main/pair"] = static_cast<double>(full.main - empty.main) / series;
    state.counters["content/pair"] = static_cast<double>(full.content - empty.content) / series;
}

BENCHMARK_CAPTURE(memory, maxCount, "max count 1 100")->Iterations(1);
BENCHMARK_CAPTURE(memory, averageCount, "average count 1 100")->Iterations(1);
BENCHMARK_CAPTURE(memory, maxDuration, "max duration 1 100")->Iterations(1);
BENCHMARK_CAPTURE(memory, averageDuration, "average duration 1 100")->Iterations(1);
BENCHMARK_CAPTURE(memory, listCount, "list count 100")->Iterations(1);
BENCHMARK_CAPTURE(memory, listDuration, "list duration 99")->Iterations(1);

}  // namespace
