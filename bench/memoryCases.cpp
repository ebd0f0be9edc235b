// Bytes of budget that a series takes when everything it keeps is full. Nothing is timed.
#include "cases.hpp"
#include "workload.hpp"

namespace Qdx::Bench {

std::vector<Row> memoryCases(const Settings& settings) {
    const auto series = 1000 / settings.shrink;
    const Workload work(Kind::Measurement, series);
    const auto collector = fullCollector({captureMeasurements}, Kind::Measurement, work);
    const auto held = collector->getFilterMemory(Backend::FilterId{0})->getAllocatedSize();
    const auto perSeries = static_cast<double>(held) / static_cast<double>(series);
    return {
        {"memory of a series in a filter", perSeries, "B", {}, Target{Measure::Value, 9000, {}}}};
}

}  // namespace Qdx::Bench
