// Each kind of violation is found, and nothing else.
#include "checker.hpp"

#include <gmock/gmock.h>

#include <functional>
#include <numeric>

#include "runBuilder.hpp"

namespace {

using namespace QdxLoad;
using namespace QdxLoad::Test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using Values = std::vector<std::int64_t>;
using Violations = std::vector<std::string>;

constexpr std::size_t all = 100'000;
constexpr std::uint32_t listSize = 1000;

Violations check(const Ledger& ledger, const Qdx::InfoObjectCollections& pull,
                 Began began = Began::Sometime) {
    Checker checker(ledger, began);
    checker.check(pull);
    return checker.violations();
}

// What a list of a series, made from what is expected and then spoiled, is blamed for.
Violations checkSpoiled(const RunBuilder& run, const Series& series,
                        const std::function<void(Values&)>& spoil, Began began = Began::Sometime,
                        std::uint32_t size = listSize) {
    auto values = expect(run.ledger(), series, all).newest;
    spoil(values);
    return check(run.ledger(), listOf(run.ledger(), series, values, size), began);
}

RunBuilder shortRun() {
    return RunBuilder().sent(60).dropped(12, 90).sent(48);
}

// --- Lists, of every kind ----------------------------------------------------------------------

class ListCheckTest : public testing::TestWithParam<Series> {};

TEST_P(ListCheckTest, WhatWasSentIsRight) {
    EXPECT_THAT(checkSpoiled(
                    shortRun(), GetParam(), [](Values&) {}, Began::BeforeFirstSample),
                IsEmpty());
}

TEST_P(ListCheckTest, AnInventedValueIsFound) {
    const auto run = shortRun();
    const auto beyond = valueOf(run.ledger(), GetParam(), 20);
    EXPECT_THAT(checkSpoiled(run, GetParam(), [&](Values& values) { values.push_back(beyond); }),
                ElementsAre(StartsWith("invented: " + std::to_string(beyond) +
                                       " (sequence 20) of 20 samples in list count 1000 of ")));
}

TEST_P(ListCheckTest, AForeignValueIsFound) {
    const auto run = shortRun();
    auto other = GetParam();
    other.frontend = 1;
    const auto value = valueOf(run.ledger(), other, 3);
    EXPECT_THAT(checkSpoiled(run, GetParam(), [&](Values& values) { values.push_back(value); }),
                ElementsAre(StartsWith("foreign: " + std::to_string(value) + " is of " +
                                       describe(run.ledger().plan, other) + " in list")));
}

TEST_P(ListCheckTest, ADuplicateIsFound) {
    EXPECT_THAT(checkSpoiled(shortRun(), GetParam(),
                             [](Values& values) { values.insert(values.begin() + 3, values[3]); }),
                ElementsAre(StartsWith("duplicate: ")));
}

TEST_P(ListCheckTest, ReorderingIsFound) {
    EXPECT_THAT(checkSpoiled(shortRun(), GetParam(),
                             [](Values& values) { std::swap(values[3], values[4]); }),
                ElementsAre(StartsWith("reordered: ")));
}

TEST_P(ListCheckTest, ALossBetweenIsFound) {
    EXPECT_THAT(
        checkSpoiled(shortRun(), GetParam(),
                     [](Values& values) { values.erase(values.begin() + 4, values.begin() + 6); }),
        ElementsAre(StartsWith("lost: 2 of 18 values, from number 4 on, in list")));
}

TEST_P(ListCheckTest, ALossAtTheEndIsFound) {
    EXPECT_THAT(checkSpoiled(shortRun(), GetParam(), [](Values& values) { values.pop_back(); }),
                ElementsAre(StartsWith("lost: 1 of 18 values, from number 17 on, in list")));
}

TEST_P(ListCheckTest, ALossInFrontIsFoundOfAFilterThatWasThere) {
    const auto spoil = [](Values& values) { values.erase(values.begin()); };
    EXPECT_THAT(checkSpoiled(shortRun(), GetParam(), spoil, Began::BeforeFirstSample),
                ElementsAre(StartsWith("lost: 1 of 18 values, from number 0 on, in list")));
    EXPECT_THAT(checkSpoiled(shortRun(), GetParam(), spoil), IsEmpty());
}

TEST_P(ListCheckTest, AFullListHasLostNothingInFront) {
    const auto spoil = [](Values& values) { values.erase(values.begin()); };
    EXPECT_THAT(checkSpoiled(shortRun(), GetParam(), spoil, Began::BeforeFirstSample, 17),
                IsEmpty());
}

TEST_P(ListCheckTest, AnEmptyListHasLostAllThatWasSent) {
    const auto spoil = [](Values& values) { values.clear(); };
    EXPECT_THAT(checkSpoiled(shortRun(), GetParam(), spoil, Began::BeforeFirstSample),
                ElementsAre(StartsWith("lost: 18 of 18 values, from number 0 on, in list")));
}

TEST_P(ListCheckTest, WhatWaitedAtTheEndMayHaveArrivedOrNot) {
    const auto run = RunBuilder().sent(60).waiting(30);
    for (std::size_t missing = 0; missing <= 5; ++missing) {
        EXPECT_THAT(
            checkSpoiled(
                run, GetParam(), [&](Values& values) { values.resize(values.size() - missing); },
                Began::BeforeFirstSample),
            IsEmpty());
    }
}

TEST_P(ListCheckTest, WhatWaitedAtTheEndArrivedWithoutGaps) {
    const auto run = RunBuilder().sent(60).waiting(30);
    EXPECT_THAT(
        checkSpoiled(run, GetParam(), [](Values& values) { values.erase(values.end() - 2); }),
        ElementsAre(StartsWith("lost: 1 of 15 values, from number 13 on, in list")));
}

TEST_P(ListCheckTest, AFewTimestampsAreNotEnough) {
    const auto run = shortRun();
    const auto values = expect(run.ledger(), GetParam(), all).newest;
    auto pull = listOf(run.ledger(), GetParam(), values, listSize);
    for (auto& collection : *pull.mutable_measurementcollections()) {
        collection.mutable_timestamps()->RemoveLast();
    }
    for (auto& collection : *pull.mutable_countercollections()) {
        collection.mutable_timestamps()->RemoveLast();
    }
    for (auto& collection : *pull.mutable_recordcollections()) {
        collection.mutable_timestamps()->RemoveLast();
    }
    EXPECT_THAT(check(run.ledger(), pull),
                ElementsAre(StartsWith("damaged: 18 values and 17 timestamps in list count")));
}

INSTANTIATE_TEST_SUITE_P(Kinds, ListCheckTest, testing::Values(measurement, counter, record),
                         [](const auto& test) {
                             return "Object" + std::to_string(test.param.object);
                         });

// --- What differs between the kinds ------------------------------------------------------------

TEST(CheckerTest, AValueThatWasDroppedAndCameAllTheSameIsFound) {
    const auto run = RunBuilder().sent(6).dropped(6, 12).sent(6);
    const auto dropped = valueOf(run.ledger(), measurement, 1);
    EXPECT_THAT(checkSpoiled(run, measurement,
                             [&](Values& values) { values.insert(values.begin() + 1, dropped); }),
                ElementsAre(StartsWith("undelivered: " + std::to_string(dropped) +
                                       " (sequence 1), which was dropped (slowCollector), in")));
}

TEST(CheckerTest, AValueOfAnEarlierCollectorIsFound) {
    const auto run = RunBuilder().sent(6).reconnect().sent(6);
    const auto gone = valueOf(run.ledger(), record, 0);
    EXPECT_THAT(
        checkSpoiled(run, record, [&](Values& values) { values.insert(values.begin(), gone); }),
        ElementsAre(StartsWith("undelivered: " + std::to_string(gone) +
                               " (sequence 0), which went to an earlier collector, in")));
}

TEST(CheckerTest, AnIncrementThatForgotWhatItCarriedIsFound) {
    const auto run = RunBuilder().sent(6).dropped(6, 12).sent(6);
    const auto bare = valueOf(run.ledger(), counter, 2);
    EXPECT_THAT(checkSpoiled(run, counter, [&](Values& values) { values[1] = bare; }),
                testing::UnorderedElementsAre(
                    StartsWith("invented: " + std::to_string(bare) +
                               " (sequence 2) without what it carried in list"),
                    StartsWith("lost: 1 of 2 values, from number 1 on, in list")));
}

TEST(CheckerTest, ANumberThatIsNoCodeIsFound) {
    EXPECT_THAT(checkSpoiled(shortRun(), measurement, [](Values& values) { values.push_back(5); }),
                ElementsAre(StartsWith("invented: 5 in list")));
}

TEST(CheckerTest, AValueFromLongAgoIsFound) {
    const auto run = RunBuilder().sent(600'000);
    const auto old = valueOf(run.ledger(), measurement, 7);
    EXPECT_THAT(
        checkSpoiled(run, measurement,
                     [&](Values& values) {
                         values = {values.end() - 2, values.end()};
                         values.insert(values.begin(), old);
                     }),
        ElementsAre(StartsWith("reordered: " + std::to_string(old) + " (sequence 7), older")));
}

TEST(CheckerTest, ADamagedRecordIsFound) {
    const auto run = shortRun();
    auto pull = listOf(run.ledger(), record, expect(run.ledger(), record, all).newest, listSize);
    (*pull.mutable_recordcollections(0)->mutable_values(17))[20] ^= 1;
    EXPECT_THAT(check(run.ledger(), pull),
                ElementsAre(StartsWith("damaged: a record with a wrong checksum in list"),
                            StartsWith("lost: 1 of 18 values, from number 17 on, in list")));
}

// --- Whose a collection is ---------------------------------------------------------------------

class ForeignCollectionTest : public testing::TestWithParam<void (*)(Qdx::MeasurementCollection&)> {
};

TEST_P(ForeignCollectionTest, IsFound) {
    const auto run = shortRun();
    auto pull = listOf(run.ledger(), measurement, {}, listSize);
    GetParam()(*pull.mutable_measurementcollections(0));
    EXPECT_THAT(check(run.ledger(), pull),
                ElementsAre(StartsWith("foreign: a measurement with the id ")));
}

INSTANTIATE_TEST_SUITE_P(
    Heads, ForeignCollectionTest,
    testing::Values([](Qdx::MeasurementCollection& collection) { collection.set_id(0); },
                    [](Qdx::MeasurementCollection& collection) { collection.set_id(4); },
                    [](Qdx::MeasurementCollection& collection) {
                        collection.set_id(2);
                    },  // a counter
                    [](Qdx::MeasurementCollection& collection) { collection.clear_context(); },
                    [](Qdx::MeasurementCollection& collection) {
                        collection.mutable_context()->set_client_id(2);
                    },
                    [](Qdx::MeasurementCollection& collection) {
                        collection.mutable_context()->set_client_id(-1);
                    },
                    [](Qdx::MeasurementCollection& collection) {
                        collection.mutable_context()->set_device_id(2);
                    },
                    [](Qdx::MeasurementCollection& collection) {
                        collection.mutable_context()->set_rf_branch(0);
                    }));

TEST(CheckerTest, ASeriesThatIsInNoPullIsFoundOfFiltersThatWereThere) {
    const auto run = RunBuilder().sent(6);
    Checker checker(run.ledger(), Began::BeforeFirstSample);
    for (std::uint64_t number = 0; number < run.ledger().plan.seriesCount(); ++number) {
        const auto series = run.ledger().plan.seriesAt(number);
        if (series != measurement && series != record) {
            checker.check(
                listOf(run.ledger(), series, expect(run.ledger(), series, all).newest, listSize));
        }
    }
    checker.finish();
    EXPECT_THAT(checker.violations(),
                ElementsAre("lost: 1 values, all of " + describe(run.ledger().plan, measurement),
                            "lost: 1 values, all of " + describe(run.ledger().plan, record)));
}

TEST(CheckerTest, ASeriesThatIsInNoPullMayNotHaveBeenCaptured) {
    const auto run = RunBuilder().sent(6);
    Checker checker(run.ledger(), Began::Sometime);
    checker.check(
        listOf(run.ledger(), measurement, expect(run.ledger(), measurement, all).newest, listSize));
    checker.finish();
    EXPECT_THAT(checker.violations(), IsEmpty());
}

// --- Windows -----------------------------------------------------------------------------------

struct Method {
    const char* name;
    Series series;
    std::function<void(Qdx::InfoObjectCollections&, const Values&, std::uint32_t)> add;
    std::function<std::int64_t(const Values&)> result;
};

std::int64_t wrappingSum(const Values& values) {
    std::uint64_t sum = 0;
    for (const auto value : values) {
        sum += static_cast<std::uint64_t>(value);
    }
    return static_cast<std::int64_t>(sum);
}

template <typename Collection, typename Aggregation>
void fillWindows(Collection* collection, Aggregation* aggregation, const Series& series,
                 const Values& values, std::uint32_t size) {
    setHead(*collection, series);
    aggregation->set_subtype(Qdx::COUNT);
    aggregation->set_size(size);
    for (const auto value : values) {
        collection->add_values(value);
        collection->add_timestamps(1);
    }
}

const std::vector<Method> methods{
    {"Min", measurement,
     [](auto& pull, const Values& values, std::uint32_t size) {
         auto* collection = pull.add_measurementcollections();
         fillWindows(collection, collection->mutable_min(), measurement, values, size);
     },
     [](const Values& values) { return *std::min_element(values.begin(), values.end()); }},
    {"Max", measurement,
     [](auto& pull, const Values& values, std::uint32_t size) {
         auto* collection = pull.add_measurementcollections();
         fillWindows(collection, collection->mutable_max(), measurement, values, size);
     },
     [](const Values& values) { return *std::max_element(values.begin(), values.end()); }},
    {"Average", measurement,
     [](auto& pull, const Values& values, std::uint32_t size) {
         auto* collection = pull.add_measurementcollections();
         fillWindows(collection, collection->mutable_avg(), measurement, values, size);
     },
     [](const Values& values) {
         return wrappingSum(values) / static_cast<std::int64_t>(values.size());
     }},
    {"Sum", counter,
     [](auto& pull, const Values& values, std::uint32_t size) {
         auto* collection = pull.add_countercollections();
         fillWindows(collection, collection->mutable_sum(), counter, values, size);
     },
     wrappingSum}};

class WindowCheckTest : public testing::TestWithParam<Method> {
protected:
    // Of three samples each, from that one of the 18 on.
    Values windows(std::size_t from, std::size_t count) const {
        const auto values = expect(run.ledger(), GetParam().series, all).newest;
        Values results;
        for (std::size_t i = from; i < from + count * 3; i += 3) {
            results.push_back(
                GetParam().result({values.begin() + static_cast<std::ptrdiff_t>(i),
                                   values.begin() + static_cast<std::ptrdiff_t>(i + 3)}));
        }
        return results;
    }

    Violations checkWindows(const Values& values, Began began = Began::Sometime) const {
        Qdx::InfoObjectCollections pull;
        GetParam().add(pull, values, 3);
        return check(run.ledger(), pull, began);
    }

    const RunBuilder run = shortRun();
};

TEST_P(WindowCheckTest, AllAreRight) {
    EXPECT_THAT(checkWindows(windows(0, 6), Began::BeforeFirstSample), IsEmpty());
}

TEST_P(WindowCheckTest, OlderOnesMayBeGone) {
    EXPECT_THAT(checkWindows(windows(6, 4), Began::BeforeFirstSample), IsEmpty());
}

TEST_P(WindowCheckTest, TheFirstMayBeginAnywhereOfAFilterThatCameLater) {
    EXPECT_THAT(checkWindows(windows(1, 5)), IsEmpty());
    EXPECT_THAT(checkWindows(windows(2, 5)), IsEmpty());
    EXPECT_THAT(checkWindows(windows(1, 5), Began::BeforeFirstSample),
                ElementsAre(StartsWith("window: no 15 of 18 values in a row give ")));
}

TEST_P(WindowCheckTest, AMissingNewestOneIsFound) {
    EXPECT_THAT(checkWindows(windows(0, 5)), ElementsAre(StartsWith("window: no 15 of 18 ")));
}

TEST_P(WindowCheckTest, AMissingOneBetweenIsFound) {
    auto values = windows(0, 6);
    values.erase(values.begin() + 2);
    EXPECT_THAT(checkWindows(values), ElementsAre(StartsWith("window: no 15 of 18 ")));
}

TEST_P(WindowCheckTest, AWrongOneIsFound) {
    for (std::size_t i = 0; i < 6; ++i) {
        auto values = windows(0, 6);
        ++values[i];
        EXPECT_THAT(checkWindows(values), ElementsAre(StartsWith("window: no 18 of 18 "))) << i;
    }
}

TEST_P(WindowCheckTest, MoreThanWereSentAreFound) {
    auto values = windows(0, 6);
    values.push_back(values.back());
    EXPECT_THAT(checkWindows(values), ElementsAre(StartsWith("window: no 21 of 18 ")));
}

INSTANTIATE_TEST_SUITE_P(Methods, WindowCheckTest, testing::ValuesIn(methods),
                         [](const auto& test) { return test.param.name; });

TEST(CheckerTest, WindowsOfSecondsAreCountedAsLeftOut) {
    const auto run = shortRun();
    Qdx::InfoObjectCollections pull;
    auto* collection = pull.add_measurementcollections();
    fillWindows(collection, collection->mutable_min(), measurement, {1}, 10);
    collection->mutable_min()->set_subtype(Qdx::DURATION);
    Checker checker(run.ledger(), Began::Sometime);
    checker.check(pull);
    EXPECT_THAT(checker.violations(), IsEmpty());
    EXPECT_EQ(checker.windowsOfSeconds(), 1U);
    EXPECT_EQ(checker.checkedCollections(), 0U);
}

TEST(CheckerTest, WindowsOfNoSamplesAreFound) {
    const auto run = shortRun();
    Qdx::InfoObjectCollections pull;
    auto* collection = pull.add_measurementcollections();
    fillWindows(collection, collection->mutable_min(), measurement, {1}, 0);
    EXPECT_THAT(check(run.ledger(), pull), ElementsAre(StartsWith("window: ")));
}

TEST(CheckerTest, CountsWhatItChecked) {
    const auto run = shortRun();
    Checker checker(run.ledger(), Began::Sometime);
    checker.check(
        listOf(run.ledger(), measurement, expect(run.ledger(), measurement, all).newest, listSize));
    checker.check(listOf(run.ledger(), record, expect(run.ledger(), record, all).newest, listSize));
    EXPECT_EQ(checker.checkedCollections(), 2U);
    EXPECT_EQ(checker.checkedValues(), 36U);
}

}  // namespace
