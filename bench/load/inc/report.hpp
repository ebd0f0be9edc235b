// What a run was like, as a table.
#pragma once

#include <optional>
#include <ostream>

#include "collectorProcess.hpp"
#include "loadRun.hpp"

namespace QdxLoad {

// The collector's process before and after the run.
struct CollectorUse {
    std::optional<pid_t> processBefore;
    std::optional<pid_t> process;
    std::optional<ProcessUse> before;
    std::optional<ProcessUse> after;
};

void printReport(std::ostream& out, const Outcome& outcome, const Load& load,
                 const CollectorUse& use);

}  // namespace QdxLoad
