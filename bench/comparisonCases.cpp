// Other programs on the samples of the case "1 filter". Their sources say what each keeps.
#include <iostream>

#include "cases.hpp"
#include "contest.hpp"

namespace Qdx::Bench {

std::vector<Row> comparisonCases(const Settings& settings) {
    const Workload work(Kind::Measurement, settings.series(1000));
    Contest contest(work);
    contest.enter({captureMeasurements});
    std::vector<std::string> names;
    for (const auto& comparison : comparisons()) {
        if (!comparison.make) {
            std::cerr << "left out: " << comparison.name << ", which takes " << comparison.packages
                      << '\n';
            continue;
        }
        contest.enter(comparison.make());
        names.push_back(comparison.name);
    }
    const auto ns = contest.run(settings.effort);
    std::vector<Row> rows;
    for (std::size_t i = 0; i < names.size(); ++i) {
        rows.push_back(
            {.name = names[i], .value = ns[i + 2], .yardstick = ns[0], .collector = ns[1]});
    }
    return rows;
}

}  // namespace Qdx::Bench
