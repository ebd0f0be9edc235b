// The path of a sample: from the batch message to the aggregators of every filter.
#include <array>

#include "cases.hpp"
#include "contest.hpp"

namespace Qdx::Bench {

namespace {

using Statements = std::vector<std::string>;

constexpr std::size_t idleFilters = 9;
// Beside the 1,000 of the other cases.
constexpr std::array<std::size_t, 6> growth = {100, 300, 3000, 10'000, 30'000, 100'000};

Statements capturing(std::size_t filters) {
    return Statements(filters, captureMeasurements);
}

Statements oneOfTenCaptures() {
    auto statements = capturing(1);
    statements.resize(1 + idleFilters, captureNothing);
    return statements;
}

}  // namespace

std::vector<Row> sampleCases(const Settings& settings) {
    const auto series = settings.series(1000);
    const Workload measurementWork(Kind::Measurement, series);
    const Workload counterWork(Kind::Counter, series);
    Contest contest(measurementWork);
    contest.enter(capturing(1));
    contest.enter(capturing(2));
    contest.enter(capturing(5));
    contest.enter(capturing(10));
    contest.enter(oneOfTenCaptures());
    contest.enter({captureCounters}, counterWork);

    const auto ns = contest.run(settings.effort);
    const auto yardstick = ns[0];
    const auto idle = (ns[5] - ns[1]) / idleFilters;
    return {
        {.name = "1 filter",
         .value = ns[1],
         .yardstick = yardstick,
         .target = Target{Measure::Ratio, 5, 2.8},
         .points = {{"series", 1000}, {"filters", 1}}},
        {.name = "2 filters, all capture",
         .value = ns[2],
         .yardstick = yardstick,
         .points = {{"filters", 2}}},
        {.name = "5 filters, all capture",
         .value = ns[3],
         .yardstick = yardstick,
         .points = {{"filters", 5}}},
        {.name = "10 filters, all capture",
         .value = ns[4],
         .yardstick = yardstick,
         .target = Target{Measure::Ratio, 70, 30},
         .points = {{"filters", 10}}},
        {.name = "10 filters, 1 captures",
         .value = ns[5],
         .yardstick = yardstick,
         .target = Target{Measure::Ratio, 10, 5}},
        {.name = "each further filter that doesn't capture",
         .value = idle,
         .target = Target{Measure::Value, 10, 2}},
        {.name = "1 filter, counters", .value = ns[6], .yardstick = yardstick},
    };
}

std::vector<Row> seriesCases(const Settings& settings) {
    std::vector<Row> rows;
    for (const auto series : growth) {
        const Workload work(Kind::Measurement, settings.series(series));
        Contest contest(work);
        contest.enter(capturing(1));
        const auto ns = contest.run(settings.effort);
        rows.push_back({.name = "1 filter, " + std::to_string(series) + " series",
                        .value = ns[1],
                        .yardstick = ns[0],
                        .points = {{"series", series}}});
    }
    rows.back().target = Target{Measure::Ratio, 5, 2.5};
    return rows;
}

}  // namespace Qdx::Bench
