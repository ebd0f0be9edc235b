// What a filter of a followed run captures and keeps.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plan.hpp"
#include "pulledCollection.hpp"

namespace QdxLedger {

using QdxLoad::Kind;
using QdxLoad::Method;
using QdxLoad::Plan;
using QdxLoad::PulledCollection;
using QdxLoad::Series;

// A history: the newest `kept` results, each of so many samples in a row; a list keeps the samples
// themselves.
struct Clause {
    Method method = Method::List;
    std::uint32_t samples = 1;
    std::uint32_t kept = 1;
};

struct Statement {
    std::optional<Kind> kind = {};              // objects with the tag of that kind; none: all
    std::optional<std::uint32_t> context = {};  // contexts of that number; none: all
    std::vector<Clause> clauses = {};
};

struct FilterSpec {
    std::uint64_t limit = 0;  // bytes; 0: without one of its own
    std::vector<Statement> statements;
};

// As people type it: "tags MEASUREMENT min count 10 100".
std::string textOf(const Statement& statement);
// "min count 10 100"
std::string textOf(const Clause& clause);

bool captures(const Statement& statement, const Plan& plan, const Series& series);
// Windows are of measurements, sums of counters, lists of anything.
bool takes(const Clause& clause, Kind kind);
// Whether a collection can be of the clause.
bool isOf(const PulledCollection& collection, const Clause& clause);

}  // namespace QdxLedger
