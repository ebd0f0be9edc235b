// Those who handle the same samples in turns.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "comparison/comparison.hpp"
#include "turns.hpp"
#include "workload.hpp"
#include "yardstick.hpp"

namespace Qdx::Bench {

// The yardstick, then whoever enters.
class Contest {
public:
    // work must outlive the contest.
    explicit Contest(const Workload& work);

    // A collector with a filter for each statement, full.
    void enter(const std::vector<std::string>& statements);
    // The same on work of its own, which must outlive the contest.
    void enter(const std::vector<std::string>& statements, const Workload& own);
    // Another program, as full as the collector's lists.
    void enter(std::unique_ptr<Comparison> comparison);

    // Nanoseconds per sample in order of entry; the yardstick's come first.
    std::vector<double> run(const Effort& effort) const { return inTurns(contenders, effort); }

private:
    const Workload& work;
    Yardstick yardstick;
    std::vector<std::unique_ptr<Backend::Quardex>> collectors;
    std::vector<std::unique_ptr<Comparison>> comparisons;
    std::vector<Contender> contenders;
};

}  // namespace Qdx::Bench
