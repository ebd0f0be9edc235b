// The path of a sample: from the batch message to the aggregators of every filter.
#include <benchmark/benchmark.h>

#include "benchUnit.hpp"

namespace {

using namespace Qdx;

// Arguments: series, filters, whether the filters capture.
void sample(benchmark::State& state) {
    const auto series = static_cast<std::size_t>(state.range(0));
    const auto filters = static_cast<std::size_t>(state.range(1));
    const bool captured = state.range(2) != 0;
    const auto collector = Bench::collectorWith(
        filters, captured ? "tags BENCH max count 10 100" : "tags NOBODY max count 10 100");
    const auto batches = Bench::measurementBatches(series);

    const auto handleAll = [&] {
        for (const auto& batch : batches) {
            collector->setCurrTime(std::nullopt);
            collector->handleBeProcessBatchesUreq(batch.get());
        }
    };
    handleAll();  // the first samples decide who captures what
    for (auto _ : state) {
        handleAll();
    }

    const auto samples = static_cast<double>(Bench::samplesIn(series));
    state.counters["time/sample"] = benchmark::Counter(
        samples, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(sample)
    ->ArgNames({"series", "filters", "captured"})
    ->ArgsProduct({{1, 100, 1000, 10000}, {1, 10}, {1, 0}});

}  // namespace
