// The table of results: what was measured beside the yardstick and the targets.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace Qdx::Bench {

// What a target limits.
enum class Measure { Ratio, Value, MillionsPerSecond };

// must: the least that is good enough. aim: where it pays to go.
struct Target {
    Measure measure;
    double must;
    std::optional<double> aim;
};

struct Row {
    std::string name;
    double value;             // in unit
    std::string unit = "ns";  // of one sample, value, row ...
    std::optional<double> yardstick;
    std::optional<Target> target;
};

// "aim", "must" or "missed" for a row with a target, "" for another.
std::string verdict(const Row& row);

void print(const std::vector<Row>& rows, std::ostream& out);

}  // namespace Qdx::Bench
