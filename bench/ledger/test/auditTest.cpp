// Every sample ends in one class, and what contradicts the rules is found.
#include <gmock/gmock.h>

#include "fakeCollector.hpp"

namespace {

using namespace QdxLedger;
using namespace QdxLedger::Test;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

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
    run.journal.back().faults.emplace_back("damaged: something");
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

}  // namespace
