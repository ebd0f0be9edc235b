// The path of a sample: from the batch message to the aggregators of every filter.
#include "cases.hpp"
#include "workload.hpp"
#include "yardstick.hpp"

namespace Qdx::Bench {

namespace {

using Statements = std::vector<std::string>;

// Collectors and the yardstick on the same workload, the yardstick first.
class Contest {
public:
    explicit Contest(const Workload& measured) : work(measured) {
        contenders.push_back({[this] {
                                  for (const auto& message : work.messages) {
                                      yardstick.handle(message.get());
                                  }
                              },
                              work.samples});
    }

    void enter(const Statements& statements, Kind kind, const Workload& own) {
        collectors.push_back(fullCollector(statements, kind, own));
        contenders.push_back(
            {[collector = collectors.back().get(), &own] { handleAll(*collector, own); },
             own.samples});
    }
    void enter(const Statements& statements) { enter(statements, Kind::Measurement, work); }

    std::vector<double> run(const Effort& effort) const { return inTurns(contenders, effort); }

private:
    const Workload& work;
    Yardstick yardstick;
    std::vector<std::unique_ptr<Backend::Quardex>> collectors;
    std::vector<Contender> contenders;
};

constexpr std::size_t idleFilters = 9;

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
    const auto series = 1000 / settings.shrink;
    const Workload measurementWork(Kind::Measurement, series);
    const Workload counterWork(Kind::Counter, series);
    Contest contest(measurementWork);
    contest.enter(capturing(1));
    contest.enter(capturing(2));
    contest.enter(capturing(5));
    contest.enter(capturing(10));
    contest.enter(oneOfTenCaptures());
    contest.enter({captureCounters}, Kind::Counter, counterWork);

    const auto ns = contest.run(settings.effort);
    const auto yardstick = ns[0];
    const auto idle = (ns[5] - ns[1]) / idleFilters;
    return {
        {"1 filter", ns[1], "ns", yardstick, Target{Measure::Ratio, 5, 2.8}},
        {"2 filters, all capture", ns[2], "ns", yardstick, {}},
        {"5 filters, all capture", ns[3], "ns", yardstick, {}},
        {"10 filters, all capture", ns[4], "ns", yardstick, Target{Measure::Ratio, 70, 30}},
        {"10 filters, 1 captures", ns[5], "ns", yardstick, Target{Measure::Ratio, 10, 5}},
        {"each further filter that doesn't capture", idle, "ns", {}, Target{Measure::Value, 10, 2}},
        {"1 filter, counters", ns[6], "ns", yardstick, {}},
    };
}

std::vector<Row> seriesCases(const Settings& settings) {
    std::vector<Row> rows;
    for (const std::size_t series : {100, 10'000, 100'000}) {
        const Workload work(Kind::Measurement, std::max<std::size_t>(series / settings.shrink, 10));
        Contest contest(work);
        contest.enter(capturing(1));
        const auto ns = contest.run(settings.effort);
        Row row{"1 filter, " + std::to_string(series) + " series", ns[1], "ns", ns[0], {}};
        if (series == 100'000) {
            row.target = Target{Measure::Ratio, 5, 2.5};
        }
        rows.push_back(row);
    }
    return rows;
}

}  // namespace Qdx::Bench
