// What a series takes when everything it keeps is full: as its filter's budget counts it, and as
// the heap holds it. Nothing is timed.
#include <malloc.h>

#include "cases.hpp"
#include "infoObjectListIf.hpp"
#include "workload.hpp"

namespace Qdx::Bench {

namespace {

// Bytes of live blocks with what the heap adds to each. Blocks that a thread keeps for its next
// request count as live; they are few.
std::size_t heapInUse() {
    const auto heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

}  // namespace

std::vector<Row> memoryCases(const Settings& settings) {
    const auto series = settings.series(1000);
    const Workload work(Kind::Measurement, series);
    useBenchUnit();
    Backend::InfoObjectListIf::getInstance();  // loads the catalogue, which is no series' own
    const auto before = heapInUse();
    const auto collector = fullCollector({captureMeasurements}, work);
    const auto onHeap = heapInUse() - before;
    const auto held = collector->getFilterMemory(Backend::FilterId{0})->getAllocatedSize();
    const auto perSeries = [series](std::size_t bytes) {
        return static_cast<double>(bytes) / static_cast<double>(series);
    };
    return {
        {.name = "memory of a series in a filter, budget",
         .value = perSeries(held),
         .unit = "B",
         .target = Target{Measure::Value, 9000, {}}},
        {.name = "memory of a series in a filter, heap", .value = perSeries(onHeap), .unit = "B"},
    };
}

}  // namespace Qdx::Bench
