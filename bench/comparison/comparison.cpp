#include "comparison.hpp"

namespace Qdx::Bench {

std::vector<NamedComparison> comparisons() {
    std::vector<NamedComparison> all{
        {"Boost.Accumulators in Abseil's map", {}, "libboost-dev and libabsl-dev"},
        {"prometheus-cpp, gauge", {}, "prometheus-cpp-dev"},
        {"prometheus-cpp, summary", {}, "prometheus-cpp-dev"},
        {"SQLite in memory", {}, "libsqlite3-dev"},
        {"RRDtool on tmpfs", {}, "librrd-dev"},
    };
#ifdef QDX_WITH_ACCUMULATORS
    all[0].make = makeAccumulators;
#endif
#ifdef QDX_WITH_PROMETHEUS
    all[1].make = makePrometheusGauge;
    all[2].make = makePrometheusSummary;
#endif
#ifdef QDX_WITH_SQLITE
    all[3].make = makeSqlite;
#endif
#ifdef QDX_WITH_RRD
    all[4].make = makeRoundRobinDatabase;
#endif
    return all;
}

}  // namespace Qdx::Bench
