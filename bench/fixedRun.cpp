#include "fixedRun.hpp"

#include "workload.hpp"

namespace Qdx::Bench {

// Not inlined and not local, so that a profiler finds it by its name.
[[gnu::noinline]] void fixedRun(Backend::Quardex& collector, const Workload& work,
                                std::size_t passes);

void fixedRun(Backend::Quardex& collector, const Workload& work, std::size_t passes) {
    for (std::size_t pass = 0; pass < passes; ++pass) {
        handleAll(collector, work);
    }
}

std::size_t profiledSamples(std::size_t passes) {
    const Workload work(Kind::Measurement, 1000);
    const auto collector = fullCollector({captureMeasurements}, work);
    fixedRun(*collector, work, passes);
    return passes * work.samples;
}

}  // namespace Qdx::Bench
