// Every sample ends in one class, and each way in which a pull can be wrong is found.
#include "audit.hpp"

#include <gmock/gmock.h>

#include <functional>

#include "fakeCollector.hpp"
#include "sampleCode.hpp"

namespace {

using namespace QdxLedger;
using namespace QdxLedger::Test;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using Values = std::vector<std::int64_t>;

constexpr std::uint32_t plenty = 1000;

std::vector<std::string> violationsOf(const FakeCollector& run, Memory memory = Memory::Suffices) {
    return audit(run.ledger(), run.journal, memory).violations;
}

std::uint64_t countOf(const Audit& audited, const std::string& row, End end) {
    return audited.sheet.of(row)[static_cast<std::size_t>(end)];
}

// Samples of the whole run; a series has a sixth.
std::uint64_t samplesIn(std::uint64_t batches) {
    return batches * FakeCollector::batch;
}

// Everything that can be done to filters, with a last pull of each.
FakeCollector eventfulRun(bool isExact) {
    FakeCollector run(isExact);
    run.create(1, everything(plenty)).send(3).create(2, everything(4)).send(2).pull(1).pull(2);
    run.send(4).pullClear(1).drop().send(1).pull(1).clearAll().pull(2).send(3).pullClear(2);
    run.disable(1).send(2).enable(1).send(5).pull(1).remove(2).send(1).create(3, everything(9));
    run.pull(3).send(2).pull(1).send(4).clearAll().pull(1).send(2).pull(1).pull(3);
    return run;
}

// --- Good runs ---------------------------------------------------------------------------------

class GoodRunTest : public testing::TestWithParam<std::tuple<bool, Memory>> {};

TEST_P(GoodRunTest, Balances) {
    const auto [isExact, memory] = GetParam();
    const auto run = eventfulRun(isExact);
    const auto audited = audit(run.ledger(), run.journal, memory);
    EXPECT_THAT(audited.violations, IsEmpty());
    EXPECT_EQ(sumOf(audited.sheet.of(everySample)), run.ledger().frontends[0].added);
    EXPECT_EQ(countOf(audited, everySample, End::SlowCollector), FakeCollector::batch);
    EXPECT_EQ(audited.pulls, 12U);
}

INSTANTIATE_TEST_SUITE_P(Modes, GoodRunTest,
                         testing::Combine(testing::Bool(),
                                          testing::Values(Memory::Suffices, Memory::MayRefuse)));

TEST(AuditTest, ClassesAreTheOnesThatTheRulesGive) {
    FakeCollector run;
    run.send(2).create(1, everything(10)).send(3).pullClear(1).send(4).pull(1);
    const auto audited = audit(run.ledger(), run.journal, Memory::Suffices);
    EXPECT_THAT(audited.violations, IsEmpty());
    // Each of six series: 8 before the filter, 12 of which 10 are kept, 16 of which 10 are kept.
    EXPECT_EQ(countOf(audited, "list count 10", End::NotOffered), 6 * 8U);
    EXPECT_EQ(countOf(audited, "list count 10", End::GivenWay), 6 * (2 + 6U));
    EXPECT_EQ(countOf(audited, "list count 10", End::Taken), 6 * 10U);
    EXPECT_EQ(countOf(audited, "list count 10", End::InList), 6 * 10U);
    // Two series of measurements: windows of 5 of the 28 offered, two of them taken, one open.
    EXPECT_EQ(countOf(audited, "max count 5 50", End::NotCaptured), samplesIn(9) * 2 / 3);
    EXPECT_EQ(countOf(audited, "max count 5 50", End::NotOffered), 2 * 8U);
    EXPECT_EQ(countOf(audited, "max count 5 50", End::Taken), 2 * 10U);
    EXPECT_EQ(countOf(audited, "max count 5 50", End::InWindow), 2 * 15U);
    EXPECT_EQ(countOf(audited, "max count 5 50", End::OpenWindow), 2 * 3U);
    for (const auto* row : {"list count 10", "max count 5 50", "sum count 3 30", everySample}) {
        EXPECT_EQ(sumOf(audited.sheet.of(row)), samplesIn(9)) << row;
    }
}

TEST(AuditTest, WhatIsClearedUnseenIsCounted) {
    FakeCollector run;
    run.create(1, everything(plenty)).send(2).clearAll().send(1).pull(1).disable(1);
    const auto audited = audit(run.ledger(), run.journal, Memory::Suffices);
    EXPECT_THAT(audited.violations, IsEmpty());
    EXPECT_EQ(countOf(audited, "list count 1000", End::Cleared), samplesIn(3));
}

TEST(AuditTest, WhatWentToAnEarlierCollectorIsLostWithIt) {
    FakeCollector run;
    run.send(2);
    run.ledger().frontends[0].lastConnection = 2;
    run.create(1, everything(plenty)).send(1).pull(1);
    const auto audited = audit(run.ledger(), run.journal, Memory::Suffices);
    EXPECT_THAT(audited.violations, IsEmpty());
    EXPECT_EQ(countOf(audited, everySample, End::LostWithCollector), samplesIn(2));
    EXPECT_EQ(countOf(audited, everySample, End::InList), samplesIn(1));
}

TEST(AuditTest, WhatWasLeftWaitingLeavesTheSheetOpen) {
    FakeCollector run;
    run.send(2);
    run.ledger().frontends[0].ranges.back().fate = Fate::Waiting;
    EXPECT_THAT(violationsOf(run), Contains(HasSubstr(" was left waiting")));
}

// --- Lists, of every kind ----------------------------------------------------------------------

class ListAuditTest : public testing::TestWithParam<std::tuple<Series, bool>> {
protected:
    ListAuditTest() : run(std::get<1>(GetParam())) {
        run.create(1, everything(plenty)).send(5).pullClear(1).send(4).drop().send(2).pull(1);
        run.send(3).pull(1);
    }

    Series series() const { return std::get<0>(GetParam()); }
    Values& list() { return run.collection(series(), Method::List).values; }
    Values& earlierList() {
        return run.collection(run.journal.size() - 2, series(), Method::List).values;
    }
    std::int64_t code(std::uint64_t sequence) const {
        return QdxLoad::encode({run.ledger().plan.numberOf(series()), sequence});
    }

    FakeCollector run;
};

TEST_P(ListAuditTest, AGoodOneIsGood) {
    EXPECT_THAT(violationsOf(run), IsEmpty());
}

TEST_P(ListAuditTest, ALossBetweenIsFound) {
    list().erase(list().begin() + 4, list().begin() + 6);
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("lost: 2 values in front of ")));
}

TEST_P(ListAuditTest, ALossAtTheEndIsFound) {
    list().pop_back();
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #3 ")));
}

TEST_P(ListAuditTest, ALossInFrontIsFound) {
    list().erase(list().begin());
    earlierList().erase(earlierList().begin());
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #1 ")));
}

TEST_P(ListAuditTest, ADuplicateIsFound) {
    list().insert(list().begin() + 3, list()[2]);
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("duplicate: ")));
}

TEST_P(ListAuditTest, ReorderingIsFound) {
    std::swap(list()[3], list()[5]);
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse),
                Contains(testing::AnyOf(StartsWith("reordered: "), StartsWith("lost: "))));
}

TEST_P(ListAuditTest, AnInventedValueIsFound) {
    list().push_back(code(1000));
    EXPECT_THAT(violationsOf(run),
                Contains(StartsWith("invented: " + std::to_string(code(1000)) + " (sequence ")));
}

TEST_P(ListAuditTest, AForeignValueIsFound) {
    list()[2] = QdxLoad::encode({0, 2});
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("foreign: ")));
}

TEST_P(ListAuditTest, ADroppedValueIsFound) {
    list()[16] = code(36);
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("undelivered: ")));
}

TEST_P(ListAuditTest, AValueThatWasTakenBeforeIsFound) {
    list().insert(list().begin(), run.collection(1, series(), Method::List).values.back());
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse), Contains(StartsWith("reappeared: ")));
}

TEST_P(ListAuditTest, AHistoryThatVanishedIsFound) {
    auto& pulled = run.journal.back().pulled;
    std::erase_if(pulled, [&](const auto& each) {
        return each.series == series() && each.method == Method::List;
    });
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse), Contains(StartsWith("vanished: ")));
}

TEST_P(ListAuditTest, AnEmptyListIsFoundIfMemorySuffices) {
    for (auto& operation : run.journal) {
        std::erase_if(operation.pulled, [&](const auto& each) { return each.series == series(); });
    }
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #")));
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, ListAuditTest,
                         testing::Combine(testing::Values(measurement, counter, record),
                                          testing::Bool()));

TEST(AuditTest, AListThatKeepsMoreThanItMayIsFound) {
    FakeCollector run;
    run.create(1, everything(10)).send(5).pull(1);
    auto& values = run.collection(measurement, Method::List).values;
    values.insert(values.begin(), values[0] - 1);
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse), Contains(StartsWith("too many: 11 ")));
}

TEST(AuditTest, AListThatShrinksIsFound) {
    FakeCollector run;
    run.create(1, everything(plenty)).send(5).pull(1).send(1).pull(1);
    auto& values = run.collection(counter, Method::List).values;
    values.erase(values.begin(), values.end() - 19);
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse),
                testing::ElementsAre(StartsWith("shrunk: from 20 values to 19 in list count 1000 "
                                                "of load:counter:1 clientId=0,deviceId=1 at #2")));
}

TEST(AuditTest, ACollectionThatTheFilterDoesNotKeepIsFound) {
    FakeCollector run;
    run.create(1, everything(10)).send(5).pull(1);
    run.collection(measurement, Method::List).size = 11;
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse),
                Contains(StartsWith("foreign: a collection that the filter doesn't keep, ")));
}

TEST(AuditTest, WhatWasNotToBeUnderstoodIsReported) {
    FakeCollector run;
    run.create(1, everything(10)).send(5).pull(1);
    run.journal.back().faults.push_back("damaged: something");
    EXPECT_THAT(violationsOf(run),
                testing::ElementsAre("damaged: something at #1 dch filter pull keep 1"));
}

TEST(AuditTest, APullInTheMiddleOfABatchIsFound) {
    FakeCollector run(false);
    run.create(1, everything(plenty)).send(5).pull(1).send(1).pull(1);
    for (auto& each : run.journal[1].pulled) {
        if (each.method == Method::List) {
            each.values.pop_back();
        }
    }
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #1 ")));
}

TEST(AuditTest, PullsThatContradictEachOtherAreFound) {
    FakeCollector run(false);
    run.create(1, everything(plenty)).create(2, everything(plenty)).send(5).pull(1).send(1).pull(2);
    std::swap(run.journal[2].pulled, run.journal[3].pulled);
    run.journal[2].added = run.journal[3].added;
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #3 ")));
}

// --- Windows -----------------------------------------------------------------------------------

class WindowAuditTest : public testing::TestWithParam<std::tuple<Method, bool>> {
protected:
    WindowAuditTest() : run(std::get<1>(GetParam())) {
        run.create(1, everything(plenty)).send(5).pullClear(1).send(6).pull(1);
    }

    Series series() const { return std::get<0>(GetParam()) == Method::Sum ? counter : measurement; }
    Values& windows() { return run.collection(series(), std::get<0>(GetParam())).values; }

    FakeCollector run;
};

TEST_P(WindowAuditTest, AWrongOneIsFound) {
    for (std::size_t i = 0; i < 3; ++i) {
        ++windows()[i];
        EXPECT_THAT(violationsOf(run), Contains(StartsWith("window: no "))) << i;
        --windows()[i];
    }
}

TEST_P(WindowAuditTest, AMissingOneBetweenIsFound) {
    windows().erase(windows().begin() + 1);
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("window: no ")));
}

TEST_P(WindowAuditTest, AMissingNewestOneIsFound) {
    windows().pop_back();
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #2 ")));
}

TEST_P(WindowAuditTest, AMissingOldestOneIsFoundIfMemorySuffices) {
    windows().erase(windows().begin());
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #1 ")));
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse), IsEmpty());
}

// All windows of the life begin one sample later than they should.
TEST_P(WindowAuditTest, ShiftedOnesAreFound) {
    const auto& deliveries = deliveriesOf(run.ledger(), series());
    Values all;
    for (const auto& delivery : deliveries) {
        all.push_back(delivery.value);
    }
    std::size_t first = 1;
    for (auto& operation : run.journal) {
        for (auto& each : operation.pulled) {
            if (each.series == series() && each.method == std::get<0>(GetParam())) {
                for (auto& value : each.values) {
                    ASSERT_LE(first + each.size, all.size());
                    value = resultOf(each.method, &all[first], each.size);
                    first += each.size;
                }
            }
        }
    }
    EXPECT_THAT(violationsOf(run), testing::Not(IsEmpty()));
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse),
                Contains(testing::AnyOf(StartsWith("apart: "), StartsWith("order: "))));
}

INSTANTIATE_TEST_SUITE_P(Methods, WindowAuditTest,
                         testing::Combine(testing::Values(Method::Min, Method::Max, Method::Average,
                                                          Method::Sum),
                                          testing::Bool()));

// --- Where memory may refuse -------------------------------------------------------------------

class PressureAuditTest : public testing::Test {
protected:
    PressureAuditTest() { run.create(1, {.statements = {{.clauses = {{.kept = plenty}}}}}); }

    Values& list(const Series& series) { return run.collection(series, Method::List).values; }
    Audit audited() const { return audit(run.ledger(), run.journal, Memory::MayRefuse); }

    FakeCollector run;
};

TEST_F(PressureAuditTest, OlderOnesMayGiveWay) {
    run.send(5).pull(1);
    list(measurement).erase(list(measurement).begin(), list(measurement).begin() + 7);
    const auto result = audited();
    EXPECT_THAT(result.violations, IsEmpty());
    EXPECT_EQ(countOf(result, "list count 1000", End::GivenWay), 7U);
    EXPECT_EQ(countOf(result, "list count 1000", End::InList), samplesIn(5) - 7);
}

TEST_F(PressureAuditTest, APairThatIsInNoPullWasRefused) {
    run.send(5).pull(1);
    std::erase_if(run.journal.back().pulled,
                  [](const auto& each) { return each.series == counter; });
    const auto result = audited();
    EXPECT_THAT(result.violations, IsEmpty());
    EXPECT_EQ(countOf(result, "list count 1000", End::Refused), 20U);
}

TEST_F(PressureAuditTest, APairThatWasNotThereAtOneTimeWasRefusedUntilThen) {
    run.send(2).pull(1).send(3).pull(1);
    std::erase_if(run.journal[1].pulled, [](const auto& each) { return each.series == counter; });
    list(counter).erase(list(counter).begin(), list(counter).begin() + 9);
    const auto result = audited();
    EXPECT_THAT(result.violations, IsEmpty());
    EXPECT_EQ(countOf(result, "list count 1000", End::Refused), 8U);
    EXPECT_EQ(countOf(result, "list count 1000", End::GivenWay), 1U);
}

TEST_F(PressureAuditTest, AMeasurementBetweenMayNotBeMissing) {
    run.send(5).pull(1);
    list(measurement).erase(list(measurement).begin() + 3);
    EXPECT_THAT(audited().violations, Contains(StartsWith("lost: ")));
}

TEST_F(PressureAuditTest, ANewestMeasurementMayNotBeMissing) {
    run.send(5).pull(1);
    list(measurement).pop_back();
    EXPECT_THAT(audited().violations, Contains(StartsWith("order: ")));
}

class RecordPressureTest : public PressureAuditTest {
protected:
    RecordPressureTest() { run.send(5).pull(1); }

    std::size_t sizeOf(std::size_t place) {
        return run.ledger().plan.sizeOfRecord(list(record)[place]);
    }
    // In the middle, of a batch whose last record is another.
    std::size_t findPlace(const std::function<bool(std::size_t)>& good) {
        for (std::size_t place = 5; place < list(record).size(); ++place) {
            if (place % 4 != 3 && good(place)) {
                return place;
            }
        }
        throw std::logic_error("no such record; change the seed");
    }
};

TEST_F(RecordPressureTest, OneThatIsLargerThanAnOlderOneMayBeMissing) {
    const auto place = findPlace([&](std::size_t each) { return sizeOf(each) > sizeOf(0); });
    list(record).erase(list(record).begin() + static_cast<std::ptrdiff_t>(place));
    const auto result = audited();
    EXPECT_THAT(result.violations, IsEmpty());
    EXPECT_EQ(countOf(result, "list count 1000", End::TooLarge), 1U);
}

TEST_F(RecordPressureTest, OneThatFitsInThePlaceOfTheOldestMayNot) {
    const auto place = findPlace([&](std::size_t each) { return sizeOf(each) <= sizeOf(0); });
    list(record).erase(list(record).begin() + static_cast<std::ptrdiff_t>(place));
    EXPECT_THAT(audited().violations, Contains(StartsWith("lost: ")));
}

TEST_F(RecordPressureTest, TheRestOfABatchMayBeCutOff) {
    for (const auto& each : {record, Series{.frontend = 0, .object = 2, .context = 0}}) {
        auto& values = list(each);
        values.erase(values.begin() + 10, values.begin() + 12);
    }
    const auto result = audited();
    EXPECT_THAT(result.violations, IsEmpty());
    EXPECT_EQ(countOf(result, "list count 1000", End::CutOff), 4U);
}

TEST_F(RecordPressureTest, NewestOnesMayBeCutOff) {
    for (const auto& each : {record, Series{.frontend = 0, .object = 2, .context = 0}}) {
        list(each).resize(18);
    }
    const auto result = audited();
    EXPECT_THAT(result.violations, IsEmpty());
    EXPECT_EQ(countOf(result, "list count 1000", End::CutOff), 4U);
}

}  // namespace
