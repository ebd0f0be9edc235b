// Measuring in turns: every contender runs for a moment, then the next, round after round, so that
// a machine that slows down slows all of them.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace Qdx::Bench {

// How thoroughly to measure.
struct Effort {
    std::size_t rounds;
    double turnNanoseconds;  // of one contender in one round, at least one pass

    static Effort full() { return {31, 4e6}; }
    static Effort quick() { return {3, 0}; }
};

// Processor time of the calling thread.
double threadNanoseconds();

struct Contender {
    std::function<void()> pass;
    std::size_t units;  // samples, values, bytes ... of one pass
    std::function<double()> clock = threadNanoseconds;
};

// Nanoseconds per unit for each contender: the median of all rounds. Each turn starts with a pass
// that warms the caches and doesn't count. The clocks are those of threads, so that other processes
// of the machine disturb little.
std::vector<double> inTurns(const std::vector<Contender>& contenders, const Effort& effort);

// Binds the calling thread to one of the processors that the process may use, if that is allowed;
// counts from 0 and wraps around.
void pinToProcessor(unsigned number);

}  // namespace Qdx::Bench
