// What the statements of a filter capture of a catalogue, and what that takes of the filter's
// budget.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "aggregatorCost.hpp"
#include "filterCheck.hpp"
#include "infoObject.hpp"
#include "probeFilter.hpp"

namespace DchFilter {

using Catalogue = std::set<Qdx::Backend::InfoObject>;

// One aggregator of a statement for one kind of object.
struct AggregatorUse {
    AggregatorClause clause;
    Qdx::Backend::InfoObjectType type{};
    std::optional<AggregatorCost> cost;  // empty if it gives this kind nothing
};

// What a statement captures, by tags and kind: of which contexts the objects come, no catalogue
// knows.
struct Coverage {
    std::vector<const Qdx::Backend::InfoObject*> captured;  // by name; of the catalogue
    // Objects that have the tags, but are of a kind that no aggregator of the statement takes.
    std::map<Qdx::Backend::InfoObjectType, std::size_t> leftOut;
    std::vector<AggregatorUse> uses;       // for the kinds that are captured
    std::vector<std::string> strangeTags;  // that no object of the catalogue has
};

Coverage coverageOf(const Statement& statement, const Catalogue& catalogue, const Load& load);

// Bytes of a filter's budget. A selector counts as met by every context.
struct FilterBudget {
    std::uint64_t filterMain = 0;      // the filter itself
    std::uint64_t contextMain = 0;     // for each context text
    std::uint64_t uncapturedMain = 0;  // for each pair that comes and isn't captured
    std::uint64_t pairs = 0;           // objects that are captured
    std::uint64_t pairsMain = 0;       // of all of them in one context
    std::uint64_t pairsContent = 0;    // the same, full
    std::uint64_t roundMain = 0;       // of all objects of the catalogue in one more context
    std::uint64_t spareMain = 0;       // what a first sample takes for a moment
    std::uint64_t spareContent = 0;    // what a sample takes for a moment
    bool hasLimit = true;              // false: pairsContent leaves out aggregators without limit
};

FilterBudget budgetOf(const std::vector<Statement>& statements,
                      const std::vector<Coverage>& coverages, const Catalogue& catalogue,
                      const Load& load);

// Limits of the three kinds of budget.
struct Shares {
    std::uint64_t main;
    std::uint64_t content;
    std::uint64_t both;
};

Shares sharesOfFilter(std::uint64_t limit);
Shares sharesOfUnit(std::uint64_t globalLimit);

// In how many contexts every object of the catalogue may come, in this filter alone, with all
// captured pairs full and nothing refused.
std::uint64_t contextsWithin(const Shares& shares, const FilterBudget& budget);

}  // namespace DchFilter
