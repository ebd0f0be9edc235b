// The cases of the speed program, in groups that are measured together.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "benchUnit.hpp"
#include "table.hpp"
#include "turns.hpp"

namespace Qdx::Bench {

struct Settings {
    Effort effort = Effort::full();
    // Divides the numbers of series, down to those of one object; above 1 the figures mean nothing.
    std::size_t shrink = 1;

    std::size_t series(std::size_t full) const {
        return std::max(full / shrink, contextsPerObject);
    }
};

std::vector<Row> sampleCases(const Settings& settings);
std::vector<Row> seriesCases(const Settings& settings);
std::vector<Row> pullCases(const Settings& settings);
std::vector<Row> mailboxCases(const Settings& settings);
std::vector<Row> memoryCases(const Settings& settings);
std::vector<Row> comparisonCases(const Settings& settings);

}  // namespace Qdx::Bench
