#include "filterBudget.hpp"

#include <gmock/gmock.h>

#include <random>

namespace DchFilter {
namespace {

using namespace Qdx::Backend;
using testing::ElementsAre;
using testing::IsEmpty;

const Catalogue catalogue = [] {
    Catalogue objects;
    const auto add = [&objects](unsigned id, const char* name, InfoObjectType type,
                                const std::set<std::string>& tags) {
        objects.emplace(InfoObjectId{id}, name, type, "", "", "", tags);
    };
    add(1, "cpu:load", InfoObjectType::Measurement, {"CPU"});
    add(2, "cpu:busy", InfoObjectType::Counter, {"CPU", "TIME"});
    add(3, "cpu:event", InfoObjectType::Record, {"CPU", "EVENT"});
    add(4, "net:bytes", InfoObjectType::Counter, {"NET"});
    add(5, "net:rate", InfoObjectType::Measurement, {"NET"});
    return objects;
}();

std::vector<Statement> statementsOf(const std::string& lines) {
    auto check = checkFilter(readFilterFile("", "limit 0\n" + lines));
    EXPECT_TRUE(check.isGood()) << lines;
    return std::move(check.statements);
}

std::vector<Coverage> coveragesOf(const std::vector<Statement>& statements, const Load& load) {
    std::vector<Coverage> coverages;
    coverages.reserve(statements.size());
    for (const auto& statement : statements) {
        coverages.push_back(coverageOf(statement, catalogue, load));
    }
    return coverages;
}

FilterBudget budgetFor(const std::vector<Statement>& statements, const Load& load = {}) {
    return budgetOf(statements, coveragesOf(statements, load), catalogue, load);
}

std::vector<std::string> namesOf(const Coverage& coverage) {
    std::vector<std::string> names;
    for (const auto* object : coverage.captured) {
        names.push_back(object->getName());
    }
    return names;
}

// --- coverage ------------------------------------------------------------------------------------

TEST(Coverage, HasTheObjectsWithAllTags) {
    const auto statements = statementsOf(
        "tags CPU list count 1\ntags CPU TIME list count 1\n"
        "list count 1\n");
    const auto coverages = coveragesOf(statements, {});
    EXPECT_THAT(namesOf(coverages[0]), ElementsAre("cpu:busy", "cpu:event", "cpu:load"));
    EXPECT_THAT(namesOf(coverages[1]), ElementsAre("cpu:busy"));
    EXPECT_EQ(coverages[2].captured.size(), catalogue.size());
}

TEST(Coverage, LeavesOutKindsThatNoAggregatorTakes) {
    const auto coverage = coveragesOf(statementsOf("tags CPU max count 1 2"), {}).at(0);
    EXPECT_THAT(namesOf(coverage), ElementsAre("cpu:load"));
    EXPECT_THAT(coverage.leftOut, ElementsAre(std::pair(InfoObjectType::Counter, 1U),
                                              std::pair(InfoObjectType::Record, 1U)));
}

TEST(Coverage, TellsWhichAggregatorsGiveACapturedKindNothing) {
    const auto coverage =
        coveragesOf(statementsOf("tags NET list count 1 sum count 1 2"), {}).at(0);
    ASSERT_EQ(coverage.uses.size(), 4U);
    for (const auto& use : coverage.uses) {
        const bool nothing =
            use.type == InfoObjectType::Measurement && use.clause.method == AggregationMethod::Sum;
        EXPECT_EQ(use.cost.has_value(), !nothing);
    }
}

TEST(Coverage, NamesTagsThatNoObjectHas) {
    const auto coverage = coveragesOf(statementsOf("tags CPU DISK list count 1"), {}).at(0);
    EXPECT_THAT(coverage.strangeTags, ElementsAre("DISK"));
    EXPECT_THAT(namesOf(coverage), IsEmpty());
}

// --- the sum of it, against a filter of the collector's ------------------------------------------

const char* const mixed =
    "tags CPU context deviceId 5 max count 2 50 500 list duration 30\n"
    "tags CPU TIME sum duration 10 600\n"
    "tags NET list count 33 sum count 10 100\n"
    "tags EVENT list count 7\n";

// Feeds every object in so many contexts until all is full, at equal intervals.
void fill(ProbeFilter& filter, std::uint64_t contexts, const Load& load) {
    for (int i = 0; i < 1300; ++i) {
        for (std::uint64_t context = 0; context < contexts; ++context) {
            for (const auto& object : catalogue) {
                filter.push(object, "deviceId=" + std::to_string(context), i * load.betweenSamples,
                            load.recordSize);
            }
        }
    }
}

std::vector<CaptureStatement> parsedWithoutContext(const std::vector<Statement>& statements) {
    std::vector<CaptureStatement> parsed;
    for (auto statement : statements) {
        statement.outline.context.clear();
        auto text = statement.outline.tags;
        for (const auto& clause : statement.outline.aggregators) {
            text += ' ' + clause.text();
        }
        parsed.push_back(CaptureStatement::parse(text).value());
    }
    return parsed;
}

TEST(FilterBudget, IsWhatAFullFilterHolds) {
    const auto statements = statementsOf(mixed);
    const Load load{std::chrono::milliseconds(800), 77};
    const auto budget = budgetFor(statements, load);
    for (const std::uint64_t contexts : {1U, 2U, 7U}) {
        ProbeFilter filter(parsedWithoutContext(statements));
        EXPECT_EQ(filter.main(), budget.filterMain);
        fill(filter, contexts, load);
        EXPECT_EQ(filter.main(), budget.filterMain + contexts * budget.roundMain);
        EXPECT_EQ(filter.content(), contexts * budget.pairsContent);
    }
}

TEST(FilterBudget, AddsUpFromItsParts) {
    const auto statements = statementsOf("tags CPU list count 5\ntags CPU TIME sum count 1 8\n");
    const auto budget = budgetFor(statements);
    EXPECT_EQ(budget.pairs, 3U);
    EXPECT_EQ(budget.roundMain, budget.pairsMain + budget.contextMain + 2 * budget.uncapturedMain);
    std::uint64_t main = 0;
    for (const auto& coverage : coveragesOf(statements, {})) {
        for (const auto& use : coverage.uses) {
            main += use.cost ? use.cost->main : 0;
        }
    }
    EXPECT_EQ(budget.pairsMain, main);
}

TEST(FilterBudget, KnowsAggregatorsWithoutLimit) {
    EXPECT_TRUE(budgetFor(statementsOf("list count 5")).hasLimit);
    EXPECT_FALSE(budgetFor(statementsOf("list count 0")).hasLimit);
}

// --- what fits -----------------------------------------------------------------------------------

class Refusals {
public:
    Refusals(const std::vector<CaptureStatement>& statements, std::uint64_t limit)
        : filter(statements, limit) {}

    // How often the filter's memory refuses while so many contexts fill it.
    std::uint64_t whileFilling(std::uint64_t contexts, const Load& load) {
        const auto before = count();
        fill(filter, contexts, load);
        return count() - before;
    }

private:
    // All refusals of the process so far, as the collector itself lists them.
    static std::uint64_t count() {
        std::ostringstream text;
        CountingMemoryResource::debugAll(text);
        std::istringstream lines(text.str());
        std::uint64_t sum = 0;
        for (std::string line; std::getline(lines, line);) {
            sum += std::stoull(line.substr(line.rfind(' ') + 1));
        }
        return sum;
    }

    ProbeFilter filter;
};

TEST(FilterBudget, NothingIsRefusedInTheContextsThatFit) {
    const auto statements = statementsOf(mixed);
    const auto parsed = parsedWithoutContext(statements);
    const Load load{std::chrono::milliseconds(800), 77};
    const auto budget = budgetFor(statements, load);
    for (const std::uint64_t limit : {30'000U, 60'000U, 100'000U}) {
        const auto contexts = contextsWithin(sharesOfFilter(limit), budget);
        ASSERT_GE(contexts, 1U) << limit;
        EXPECT_EQ(Refusals(parsed, limit).whileFilling(contexts, load), 0U) << limit;
        EXPECT_GT(Refusals(parsed, limit).whileFilling(contexts + 1, load), 0U) << limit;
    }
}

// Bound by the share of content, by the share of structures, and by the limit itself.
TEST(FilterBudget, FitsBySharesOfContentAndOfStructures) {
    FilterBudget budget;
    budget.filterMain = 100;
    budget.roundMain = 10;
    budget.pairsContent = 50;
    EXPECT_EQ(contextsWithin({1000, 500, 10000}, budget), 10U);
    EXPECT_EQ(contextsWithin({150, 10000, 10000}, budget), 5U);
    EXPECT_EQ(contextsWithin({1000, 1000, 340}, budget), 4U);
    budget.spareContent = 1;
    EXPECT_EQ(contextsWithin({1000, 500, 10000}, budget), 9U);
    EXPECT_EQ(contextsWithin({1000, 1000, 340}, budget), 3U);
    budget.spareMain = 1;
    EXPECT_EQ(contextsWithin({150, 10000, 10000}, budget), 4U);
    EXPECT_EQ(contextsWithin({99, 10000, 10000}, budget), 0U);
}

TEST(FilterBudget, SharesAreThoseOfTheCollector) {
    const auto filter = sharesOfFilter(1010);
    EXPECT_EQ(filter.main, 707U);
    EXPECT_EQ(filter.content, 999U);
    EXPECT_EQ(filter.both, 1010U);
    const auto unit = sharesOfUnit(1010);
    EXPECT_EQ(unit.main, 707U);
    EXPECT_EQ(unit.content, 999U);
    EXPECT_EQ(unit.both, 1010U);
}

}  // namespace
}  // namespace DchFilter
