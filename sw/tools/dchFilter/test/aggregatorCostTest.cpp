#include "aggregatorCost.hpp"

#include <gmock/gmock.h>

#include <random>
#include <stdexcept>

namespace DchFilter {

void PrintTo(const ContentCost& cost, std::ostream* out) {
    *out << cost.values << " values, " << cost.whenFull << " when full, peak " << cost.peak;
}

namespace {

using namespace Qdx::Backend;
using namespace std::chrono_literals;

AggregatorClause clause(const std::string& text) {
    return explain(' ' + text).outline.aggregators.at(0);
}

constexpr auto measurement = InfoObjectType::Measurement;
constexpr auto counter = InfoObjectType::Counter;
constexpr auto record = InfoObjectType::Record;

// --- what takes what
// ------------------------------------------------------------------------------

bool takes(const std::string& text, InfoObjectType type) {
    return costOf(clause(text), type, {}).has_value();
}

TEST(AggregatorCost, IsNothingForKindsThatAnAggregatorDoesNotTake) {
    for (const auto* text : {"min count 1 2", "max duration 1 2", "average count 1 2"}) {
        EXPECT_TRUE(takes(text, measurement)) << text;
        EXPECT_FALSE(takes(text, counter)) << text;
        EXPECT_FALSE(takes(text, record)) << text;
    }
    for (const auto* text : {"sum count 1 2", "sum duration 1 2"}) {
        EXPECT_FALSE(takes(text, measurement)) << text;
        EXPECT_TRUE(takes(text, counter)) << text;
        EXPECT_FALSE(takes(text, record)) << text;
    }
    for (const auto type : {measurement, counter, record}) {
        EXPECT_TRUE(takes("list count 5", type));
        EXPECT_TRUE(takes("list duration 5", type));
    }
}

// --- the two ways to the content
// ------------------------------------------------------------------

class Clauses {
public:
    explicit Clauses(std::uint32_t seed) : random(seed) {}

    std::uint32_t below(std::uint32_t end) {
        return std::uniform_int_distribution<std::uint32_t>(0, end - 1)(random);
    }

    AggregatorClause next(InfoObjectType type) {
        const auto period = below(2) == 0 ? AggregationPeriod::Count : AggregationPeriod::Duration;
        const auto scope = 1 + below(60);
        if (type == record || below(2) == 0) {
            return {AggregationMethod::List, period, 1 + below(150), 0};
        }
        return {type == counter ? AggregationMethod::Sum : levels[below(3)], period, scope,
                scope * (1 + below(200))};
    }

    Load load() {
        return {std::chrono::nanoseconds(100'000'000 + below(2'000'000'000)), below(500)};
    }

private:
    static constexpr AggregationMethod levels[] = {AggregationMethod::Min, AggregationMethod::Max,
                                                   AggregationMethod::Average};
    std::mt19937 random;
};

TEST(AggregatorCost, ComputesWhatTheCollectorCounts) {
    constexpr std::uint32_t seed = 4711;
    Clauses clauses(seed);
    for (int i = 0; i < 120; ++i) {
        for (const auto type : {measurement, counter, record}) {
            const auto next = clauses.next(type);
            const auto load = clauses.load();
            ASSERT_EQ(computedContent(next, type, load), fedContent(next, type, load))
                << "seed " << seed << ": " << next.text() << ", a sample every "
                << load.betweenSamples.count() << " ns, records of " << load.recordSize;
        }
    }
}

// Around the powers of two, where histories grow.
TEST(AggregatorCost, ComputesEverySmallSize) {
    for (std::uint32_t size = 1; size <= 70; ++size) {
        for (const auto type : {measurement, record}) {
            for (const auto period : {AggregationPeriod::Count, AggregationPeriod::Duration}) {
                const AggregatorClause list{AggregationMethod::List, period, size, 0};
                EXPECT_EQ(computedContent(list, type, {}), fedContent(list, type, {}))
                    << list.text();
            }
        }
        const AggregatorClause windows{AggregationMethod::Max, AggregationPeriod::Count, 1, size};
        EXPECT_EQ(computedContent(windows, measurement, {}), fedContent(windows, measurement, {}));
    }
}

TEST(AggregatorCost, ComputesAListOfSecondsThatHoldsOneSample) {
    const Load slow{10s, 100};
    for (const auto* text : {"list duration 0", "list duration 9", "list duration 10"}) {
        for (const auto type : {measurement, record}) {
            EXPECT_EQ(computedContent(clause(text), type, slow),
                      fedContent(clause(text), type, slow))
                << text;
        }
    }
    EXPECT_EQ(computedContent(clause("list duration 9"), counter, slow).values, 1U);
    EXPECT_EQ(computedContent(clause("list duration 10"), counter, slow).values, 2U);
}

TEST(AggregatorCost, FeedsUntilNothingChangesAnyMore) {
    const Load load{700ms, 30};
    for (const auto* text :
         {"max count 3 30", "average duration 4 44", "list count 21", "list duration 33"}) {
        ProbeFilter probe([&] {
            std::string statement = std::string(" ") + text;
            return std::vector{CaptureStatement::parse(statement).value()};
        }());
        const InfoObject object(InfoObjectId{1}, "a", measurement, "", "", "", {});
        for (int i = 0; i < 1000; ++i) {
            probe.push(object, "", i * load.betweenSamples, load.recordSize);
        }
        const auto fed = fedContent(clause(text), measurement, load);
        EXPECT_EQ(probe.content(), fed.whenFull) << text;
        EXPECT_EQ(probe.mostContent(), fed.peak) << text;
    }
}

TEST(AggregatorCost, DoesNotDependOnTheRateForWindowsOfSeconds) {
    const auto windows = clause("max duration 10 600");
    EXPECT_EQ(costOf(windows, measurement, {1ms, 0})->content,
              costOf(windows, measurement, {1h, 0})->content);
}

TEST(AggregatorCost, IsTheSameFedOrComputedAtTheBorderOfWhatIsFed) {
    for (const auto* text : {"max count 1 100000", "list count 100000"}) {
        EXPECT_EQ(costOf(clause(text), measurement, {})->content,
                  computedContent(clause(text), measurement, {}))
            << text;
    }
}

// 32 bits of values, far beyond what could be fed: 16 bytes each, in room for 2 to the 32.
TEST(AggregatorCost, ComputesTheLargestHistories) {
    const auto cost = costOf(clause("list count 4294967295"), counter, {});
    ASSERT_TRUE(cost && cost->content);
    EXPECT_EQ(cost->content->values, 4294967295U);
    EXPECT_EQ(cost->content->whenFull, 68719476736U);
    EXPECT_EQ(cost->content->peak, 103079215104U);
}

TEST(AggregatorCost, HasNoContentForAHistoryWithoutLimit) {
    for (const auto* text : {"list count 0", "max count 1 0"}) {
        EXPECT_FALSE(hasLimit(clause(text))) << text;
        const auto cost = costOf(clause(text), measurement, {});
        ASSERT_TRUE(cost);
        EXPECT_FALSE(cost->content) << text;
    }
}

// --- what the warnings of the explainer claim ----------------------------------------------------

std::uint64_t contentAfter(int samples, const std::string& text) {
    std::string statement = ' ' + text;
    ProbeFilter probe({CaptureStatement::parse(statement).value()});
    const InfoObject object(InfoObjectId{1}, "a", measurement, "", "", "", {});
    for (int i = 0; i < samples; ++i) {
        probe.push(object, "", i * 1s, 0);
    }
    return probe.content();
}

TEST(AggregatorCost, GrowsForEverWhereTheExplainerSaysSo) {
    for (const auto* text : {"list count 0", "max count 1 0"}) {
        EXPECT_GE(contentAfter(5000, text), 5000U * 16) << text;
    }
}

TEST(AggregatorCost, FailsAtTheEndOfAWindowWhereTheExplainerSaysSo) {
    for (const auto* text : {"max count 5 0", "max duration 5 0", "max duration 0 0"}) {
        EXPECT_TRUE(hasLimit(clause(text))) << text;
        EXPECT_EQ(costOf(clause(text), measurement, {})->content->whenFull, 0U) << text;
        EXPECT_THROW(contentAfter(10, text), std::out_of_range) << text;
    }
    EXPECT_EQ(contentAfter(5000, "max count 0 0"), 0U);
}

}  // namespace
}  // namespace DchFilter
