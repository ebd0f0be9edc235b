// A pull: from full lists to the bytes that are sent.
#include <benchmark/benchmark.h>

#include "benchUnit.hpp"
#include "outputEncoderIf.hpp"
#include "tessel/util.hpp"

namespace {

using namespace Qdx;
using namespace Qdx::Backend;

constexpr std::size_t valuesPerSeries = 1000;

std::unique_ptr<Quardex> collectorWithFullLists(std::size_t series) {
    auto collector = Bench::collectorWith(1, "list count " + std::to_string(valuesPerSeries));
    const auto batches = Bench::measurementBatches(series);
    for (std::size_t i = 0; i < valuesPerSeries; ++i) {
        for (const auto& batch : batches) {
            collector->setCurrTime(std::nullopt);
            collector->handleBeProcessBatchesUreq(batch.get());
        }
    }
    return collector;
}

std::string pulled(Quardex& collector) {
    const auto encoder = OutputEncoderIf::create(collector.getClockAnchor());
    collector.prepareFilterData(FilterId{0}, Clear::No, encoder.get());
    return encoder->build();
}

void setTimePerValue(benchmark::State& state, std::size_t values) {
    state.counters["time/value"] = benchmark::Counter(
        static_cast<double>(values),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void pull(benchmark::State& state) {
    const auto series = static_cast<std::size_t>(state.range(0));
    const auto collector = collectorWithFullLists(series);
    for (auto _ : state) {
        benchmark::DoNotOptimize(pulled(*collector));
    }
    setTimePerValue(state, series * valuesPerSeries);
}
BENCHMARK(pull)->ArgName("series")->Arg(10)->Arg(100);

// The text of a pull in the shell.
void base64(benchmark::State& state) {
    constexpr std::size_t series = 10;
    const auto bytes = pulled(*collectorWithFullLists(series));
    const std::vector<unsigned char> data(bytes.begin(), bytes.end());
    for (auto _ : state) {
        benchmark::DoNotOptimize(Tessel::Util::Base64::encode(data));
    }
    setTimePerValue(state, series * valuesPerSeries);
}
BENCHMARK(base64);

}  // namespace
