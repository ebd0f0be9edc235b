// What may be missing where memory may refuse, and what may not.
#include <gmock/gmock.h>

#include <functional>

#include "fakeCollector.hpp"

namespace {

using namespace QdxLedger;
using namespace QdxLedger::Test;
using testing::Contains;
using testing::IsEmpty;
using testing::StartsWith;

using Values = std::vector<std::int64_t>;

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
        throw std::logic_error("no such record");
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
    while (sizeOf(0) < 150) {
        ++run.ledger().plan.seed;  // which sizes go by, but not what a series sends
    }
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

// A list that was emptied for a record too large for it, and found no memory for what it had held.
class EmptiedListTest : public RecordPressureTest {
protected:
    // Of the last batch the first record is kept, the second would fit everywhere, the third is too
    // large, and ends the batch.
    EmptiedListTest() {
        auto& values = list(record);
        while (!isSmallest(oldest + 1) || sizeOf(oldest + 2) <= sizeOf(oldest)) {
            ++run.ledger().plan.seed;
        }
        values = {values[oldest]};
        list(other).resize(oldest + 2);
    }

    static constexpr std::size_t oldest = 16;
    // Comes behind it in the batch.
    static constexpr Series other{.frontend = 0, .object = 2, .context = 0};

private:
    bool isSmallest(std::size_t place) {
        for (std::size_t older = 0; older < place; ++older) {
            if (sizeOf(older) < sizeOf(place)) {
                return false;
            }
        }
        return true;
    }
};

TEST_F(EmptiedListTest, MayHaveItsOldestLeft) {
    const auto result = audited();
    EXPECT_THAT(result.violations, IsEmpty());
    EXPECT_EQ(countOf(result, "list count 1000", End::GivenWay), oldest);
    EXPECT_EQ(countOf(result, "list count 1000", End::Unrestored), 1U);
    EXPECT_EQ(countOf(result, "list count 1000", End::CutOff), 4U);
}

TEST_F(EmptiedListTest, GoesOnBehindIt) {
    const auto kept = list(record).front();
    run.send(1).pull(1);
    auto& values = list(record);
    values.erase(values.begin(), values.end() - 4);
    values.insert(values.begin(), kept);
    list(other).erase(list(other).end() - 6, list(other).end() - 4);
    const auto result = audited();
    EXPECT_THAT(result.violations, IsEmpty());
    EXPECT_EQ(countOf(result, "list count 1000", End::Unrestored), 1U);
}

TEST_F(EmptiedListTest, WasEmptiedForALargerOneAlone) {
    run.ledger().plan.recordSpread = 0;
    EXPECT_THAT(audited().violations, Contains(StartsWith("lost: ")));
}

}  // namespace
