#include "turns.hpp"

#include <sched.h>
#include <ctime>

#include <algorithm>
#include <cmath>

namespace Qdx::Bench {

namespace {

double timeOf(const Contender& contender, std::size_t passes) {
    const auto start = contender.clock();
    for (std::size_t i = 0; i < passes; ++i) {
        contender.pass();
    }
    return contender.clock() - start;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace

double threadNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

void pinToProcessor(unsigned number) {
    static const cpu_set_t allowed = [] {
        cpu_set_t all;
        CPU_ZERO(&all);
        sched_getaffinity(0, sizeof all, &all);
        return all;
    }();
    const auto count = CPU_COUNT(&allowed);
    if (count == 0) {
        return;
    }
    auto skip = static_cast<int>(number) % count;
    for (unsigned cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &allowed) && skip-- == 0) {
            cpu_set_t one;
            CPU_ZERO(&one);
            CPU_SET(cpu, &one);
            sched_setaffinity(0, sizeof one, &one);
        }
    }
}

std::vector<double> inTurns(const std::vector<Contender>& contenders, const Effort& effort) {
    std::vector<std::vector<double>> times(contenders.size());
    for (std::size_t round = 0; round < effort.rounds; ++round) {
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            const auto& contender = contenders[i];
            const auto warmUp = std::max(timeOf(contender, 1), 1.0);
            const auto passes = static_cast<std::size_t>(
                std::max(1.0, std::round(effort.turnNanoseconds / warmUp)));
            times[i].push_back(timeOf(contender, passes) /
                               static_cast<double>(passes * contender.units));
        }
    }
    std::vector<double> medians(times.size());
    std::transform(times.begin(), times.end(), medians.begin(), median);
    return medians;
}

}  // namespace Qdx::Bench
