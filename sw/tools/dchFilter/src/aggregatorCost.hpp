// What an aggregator takes of a filter's budget for each pair of object and context.
#pragma once

#include <cstdint>
#include <optional>

#include "explainer.hpp"
#include "infoObject.hpp"
#include "probeFilter.hpp"

namespace DchFilter {

// Content memory in bytes, for the values that are kept.
struct ContentCost {
    std::uint64_t values;
    std::uint64_t whenFull;  // right after a sample
    std::uint64_t peak;      // the most at any time, while growing or while taking a sample
    friend bool operator==(const ContentCost&, const ContentCost&) = default;
};

struct AggregatorCost {
    std::uint64_t main;                  // bytes of main memory
    std::optional<ContentCost> content;  // empty if it grows without limit
};

// Empty if the aggregator gives this kind of object nothing. Feeds a filter until the aggregator is
// full, or computes what takes too long to feed.
std::optional<AggregatorCost> costOf(const AggregatorClause& clause,
                                     Qdx::Backend::InfoObjectType type, const Load& load);

// The two ways to the content of an aggregator that has a limit and takes this kind of object.
ContentCost fedContent(const AggregatorClause& clause, Qdx::Backend::InfoObjectType type,
                       const Load& load);
ContentCost computedContent(const AggregatorClause& clause, Qdx::Backend::InfoObjectType type,
                            const Load& load);

// False for the odd clauses whose history nothing bounds.
bool hasLimit(const AggregatorClause& clause);

}  // namespace DchFilter
