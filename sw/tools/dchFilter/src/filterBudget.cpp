#include "filterBudget.hpp"

#include <algorithm>
#include <limits>

#include "saturating.hpp"

namespace DchFilter {

using namespace Qdx::Backend;

namespace {

// Short enough to stand in the node of its context.
const std::string oneContext = "deviceId=1";
const std::string anotherContext = "deviceId=2";

bool hasTag(const Catalogue& catalogue, const std::string& tag) {
    return std::ranges::any_of(
        catalogue, [&tag](const auto& object) { return object.getTags().contains(tag); });
}

std::vector<std::string> strangeTagsOf(const CaptureStatement& statement,
                                       const Catalogue& catalogue) {
    std::vector<std::string> strange;
    for (const auto& tag : statement.getTags()) {
        if (!hasTag(catalogue, std::string(tag))) {
            strange.emplace_back(tag);
        }
    }
    return strange;
}

using ObjectsByType = std::map<InfoObjectType, std::vector<const InfoObject*>>;

ObjectsByType taggedObjects(const CaptureStatement& statement, const Catalogue& catalogue) {
    ObjectsByType tagged;
    for (const auto& object : catalogue) {
        if (object.hasAllTags(statement.getTags())) {
            tagged[object.getType()].push_back(&object);
        }
    }
    return tagged;
}

std::vector<AggregatorUse> usesBy(InfoObjectType type, const Outline& outline, const Load& load) {
    std::vector<AggregatorUse> uses;
    for (const auto& clause : outline.aggregators) {
        uses.push_back({clause, type, costOf(clause, type, load)});
    }
    return uses;
}

// The statements with every context met.
std::vector<CaptureStatement> withoutContexts(const std::vector<Statement>& statements) {
    std::vector<CaptureStatement> parsed;
    for (const auto& statement : statements) {
        auto text = statement.outline.tags;
        for (const auto& clause : statement.outline.aggregators) {
            text.append(" ").append(clause.text());
        }
        parsed.push_back(CaptureStatement::parse(text).value());
    }
    return parsed;
}

// Bytes of main memory by which the filter grows.
template <typename Act>
std::uint64_t growth(ProbeFilter& filter, Act act) {
    const auto before = filter.main();
    act();
    return filter.main() - before;
}

void pushAll(ProbeFilter& filter, const Catalogue& catalogue, const std::string& context,
             const Load& load) {
    for (const auto& object : catalogue) {
        filter.push(object, context, {}, load.recordSize);
    }
}

// What the filter keeps for a context, and for a pair that it doesn't capture.
void measureStrangers(FilterBudget& budget, const Load& load) {
    auto text = std::string(" tags NOBODY list count 1");
    ProbeFilter filter({CaptureStatement::parse(text).value()});
    const InfoObject first(InfoObjectId{1}, "first", InfoObjectType::Counter, "", "", "", {});
    const InfoObject second(InfoObjectId{2}, "second", InfoObjectType::Counter, "", "", "", {});
    const auto both = growth(filter, [&] { filter.push(first, oneContext, {}, load.recordSize); });
    budget.uncapturedMain =
        growth(filter, [&] { filter.push(second, oneContext, {}, load.recordSize); });
    budget.contextMain = both - budget.uncapturedMain;
}

// What the first sample of a pair takes for a moment: objects of one kind and tags are alike.
std::uint64_t spareMainOf(const std::vector<CaptureStatement>& statements,
                          const Catalogue& catalogue, const Load& load) {
    std::set<std::pair<InfoObjectType, std::set<std::string>>> known;
    std::uint64_t spare = 0;
    for (const auto& object : catalogue) {
        if (known.emplace(object.getType(), object.getTags()).second) {
            ProbeFilter filter(statements);
            filter.push(object, oneContext, {}, load.recordSize);
            spare = std::max(spare, filter.mostMain() - filter.main());
        }
    }
    return spare;
}

void measureMain(FilterBudget& budget, const std::vector<Statement>& statements,
                 const Catalogue& catalogue, const Load& load) {
    const auto parsed = withoutContexts(statements);
    budget.spareMain = spareMainOf(parsed, catalogue, load);
    ProbeFilter filter(parsed);
    budget.filterMain = filter.main();
    pushAll(filter, catalogue, oneContext, load);
    budget.roundMain = growth(filter, [&] { pushAll(filter, catalogue, anotherContext, load); });
    const auto uncaptured = catalogue.size() - budget.pairs;
    budget.pairsMain = catalogue.empty() ? 0
                                         : budget.roundMain - budget.contextMain -
                                               uncaptured * budget.uncapturedMain;
}

void addContent(FilterBudget& budget, const Coverage& coverage) {
    for (const auto& use : coverage.uses) {
        if (!use.cost) {
            continue;
        }
        if (!use.cost->content) {
            budget.hasLimit = false;
            continue;
        }
        const auto& content = *use.cost->content;
        const auto objects = static_cast<std::uint64_t>(std::ranges::count_if(
            coverage.captured,
            [&use](const auto* object) { return object->getType() == use.type; }));
        budget.pairsContent =
            saturatingAdd(budget.pairsContent, saturatingMultiply(objects, content.whenFull));
        budget.spareContent = std::max(budget.spareContent, content.peak - content.whenFull);
    }
}

// How often a size fits in what is left of a share.
std::uint64_t timesWithin(std::uint64_t share, std::uint64_t taken, std::uint64_t size) {
    if (taken > share) {
        return 0;
    }
    return size == 0 ? std::numeric_limits<std::uint64_t>::max() : (share - taken) / size;
}

}  // namespace

Coverage coverageOf(const Statement& statement, const Catalogue& catalogue, const Load& load) {
    Coverage coverage;
    coverage.strangeTags = strangeTagsOf(statement.parsed, catalogue);
    for (const auto& [type, objects] : taggedObjects(statement.parsed, catalogue)) {
        auto uses = usesBy(type, statement.outline, load);
        if (std::ranges::none_of(uses, [](const auto& use) { return use.cost.has_value(); })) {
            coverage.leftOut[type] = objects.size();
            continue;
        }
        coverage.captured.insert(coverage.captured.end(), objects.begin(), objects.end());
        coverage.uses.insert(coverage.uses.end(), uses.begin(), uses.end());
    }
    std::ranges::sort(coverage.captured, [](const auto* a, const auto* b) { return *a < *b; });
    return coverage;
}

FilterBudget budgetOf(const std::vector<Statement>& statements,
                      const std::vector<Coverage>& coverages, const Catalogue& catalogue,
                      const Load& load) {
    FilterBudget budget;
    std::set<const InfoObject*> captured;
    for (const auto& coverage : coverages) {
        captured.insert(coverage.captured.begin(), coverage.captured.end());
        addContent(budget, coverage);
    }
    budget.pairs = captured.size();
    measureStrangers(budget, load);
    measureMain(budget, statements, catalogue, load);
    return budget;
}

Shares sharesOfFilter(std::uint64_t limit) {
    const auto share = [limit](unsigned short percent) {
        return *FilterMemory::partialSize(limit, percent);
    };
    return {share(70), share(99), share(100)};
}

Shares sharesOfUnit(std::uint64_t globalLimit) {
    GlobalMemory memory(globalLimit);
    return {*memory.getMainResource()->getRemainingSize(),
            *memory.getContentResource()->getRemainingSize(),
            *memory.getCommonResource()->getRemainingSize()};
}

std::uint64_t contextsWithin(const Shares& shares, const FilterBudget& budget) {
    const auto fixedMain = budget.filterMain + budget.spareMain;
    const auto fixed = saturatingAdd(fixedMain, budget.spareContent);
    const auto round = saturatingAdd(budget.roundMain, budget.pairsContent);
    return std::min({timesWithin(shares.main, fixedMain, budget.roundMain),
                     timesWithin(shares.content, budget.spareContent, budget.pairsContent),
                     timesWithin(shares.both, fixed, round)});
}

}  // namespace DchFilter
