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

// A place on one of the plotted curves: "series" or "filters", and how many.
struct Point {
    std::string curve;
    std::size_t x;
};

struct Row {
    std::string name;
    double value;             // in unit
    std::string unit = "ns";  // of one sample, value, row ...
    std::optional<double> yardstick = {};
    std::optional<Target> target = {};
    std::vector<Point> points = {};
    // What the collector takes for the same, in a row of another program.
    std::optional<double> collector = {};
};

// "aim", "must" or "missed" for a row with a target, "" for another.
std::string verdict(const Row& row);

// Aligned, for people.
void print(const std::vector<Row>& rows, std::ostream& out);

// Each row as the same cells and one with its points, as in "series=1000 filters=1", separated by
// tabs.
void printTabbed(const std::vector<Row>& rows, std::ostream& out);

}  // namespace Qdx::Bench
