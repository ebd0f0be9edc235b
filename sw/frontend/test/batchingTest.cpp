// When batches leave, and what is in them.
#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "allocationCounter.hpp"
#include "connectionFixture.hpp"

namespace Qdx::Frontend {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;
using namespace std::chrono_literals;

// With the smallest messages that a unit may set: a batch is full soon.
class BatchingTest : public ConnectionTest {
protected:
    static constexpr std::size_t messageSize = 1024;

    BatchingTest() { useSmallMessages(); }
};

TEST_F(BatchingTest, CarriesSamplesOfEachKind) {
    FakeCollector collector;
    Connection connection(ownName);
    connect(connection, collector);
    const Measurement measurement(connection, "m", "rfBranch=1");
    const Counter counter(connection, "c");
    const Record record(connection, "r", "carrierId=7,dfeId=-1");
    measurement.add(-5);
    counter.add(7);
    measurement.add(6);
    EXPECT_TRUE(record.add(std::vector<unsigned char>{'a', 0, 'b'}));
    EXPECT_TRUE(record.add({}));
    EXPECT_TRUE(connection.flush());
    const Batch batch = collector.batch();
    EXPECT_THAT(batch.measurements, ElementsAre(Item{"m rfBranch=1", -5}, Item{"m rfBranch=1", 6}));
    EXPECT_THAT(batch.counters, ElementsAre(Item{"c", 7}));
    EXPECT_THAT(batch.records, ElementsAre(Item{"r carrierId=7,dfeId=-1", 0, {"a\0b", 3}},
                                           Item{"r carrierId=7,dfeId=-1"}));
    EXPECT_TRUE(collector.nothingWaits());
}

// An item is "abc", its NUL, 4 bytes of size and 8 of value: 16 bytes. 62 of them and the 28 bytes
// in front are 1020.
TEST_F(BatchingTest, LeavesWhenTheNextSampleDoesNotFit) {
    FakeCollector collector;
    Connection connection(ownName);
    connect(connection, collector);
    const Measurement measurement(connection, "abc");
    for (int sample = 0; sample < 62; ++sample) {
        measurement.add(sample);
    }
    EXPECT_TRUE(collector.nothingWaits());
    measurement.add(62);
    const Batch batch = collector.batch();
    EXPECT_EQ(batch.size, 1020u);
    ASSERT_THAT(batch.measurements, SizeIs(62));
    EXPECT_EQ(batch.measurements.back().value, 61);
    EXPECT_EQ(connection.statistics().sentBatches, 1u);
    EXPECT_TRUE(connection.flush());
    EXPECT_THAT(collector.batch().measurements, ElementsAre(Item{"abc", 62}));
}

TEST_F(BatchingTest, LeavesWhenItsFirstSampleIsOld) {
    FakeCollector collector;
    Connection connection(ownName, {}, {.batchAge = 10s});
    connect(connection, collector);
    const Measurement measurement(connection, "a");
    const auto before = Clock::now();
    measurement.add(1);
    const auto deadline = connection.nextDeadline();
    ASSERT_TRUE(deadline.has_value());
    EXPECT_GE(*deadline, before + 10s);
    EXPECT_LE(*deadline, Clock::now() + 10s);
    measurement.add(2);
    EXPECT_EQ(connection.nextDeadline(), deadline);
    connection.poll(*deadline - 1ns);
    EXPECT_TRUE(collector.nothingWaits());
    connection.poll(*deadline);
    EXPECT_THAT(collector.batch().measurements, SizeIs(2));
    EXPECT_EQ(connection.nextDeadline(), std::nullopt);
}

TEST_F(BatchingTest, AgeBeginsAnewWithTheFirstSampleOfTheNextBatch) {
    FakeCollector collector;
    Connection connection(ownName);
    connect(connection, collector);
    const Measurement measurement(connection, "a");
    measurement.add(1);
    const auto first = *connection.nextDeadline();
    EXPECT_TRUE(connection.flush());
    measurement.add(2);
    EXPECT_GT(*connection.nextDeadline(), first);
}

TEST_F(BatchingTest, NeverLeavesByAgeIfThatIsBeyondTheClock) {
    FakeCollector collector;
    Connection connection(ownName, {}, {.batchAge = Clock::duration::max()});
    connect(connection, collector);
    const Measurement measurement(connection, "a");
    measurement.add(1);
    connection.poll(Clock::now() + 10'000h);
    EXPECT_TRUE(collector.nothingWaits());
    EXPECT_TRUE(connection.flush());
    EXPECT_THAT(collector.batch().measurements, SizeIs(1));
}

TEST_F(BatchingTest, NeverLeavesWithoutSamples) {
    FakeCollector collector;
    Connection connection(ownName);
    connect(connection, collector);
    EXPECT_TRUE(connection.flush());
    connection.poll(Clock::now() + 1h);
    EXPECT_TRUE(collector.nothingWaits());
}

// So that the queue holds full batches, however often it is flushed.
TEST_F(BatchingTest, GathersUntilItIsFullWhileThereIsNoCollector) {
    Connection connection(ownName);
    const Measurement measurement(connection, "a");
    measurement.add(1);
    EXPECT_FALSE(connection.flush());
    connection.poll(Clock::now() + 1h);
    EXPECT_EQ(connection.waitingBatches(), 0u);
    measurement.add(2);
    FakeCollector collector;
    connection.poll(Clock::now() + 2h);
    collector.confirm();
    connection.poll();
    EXPECT_TRUE(connection.flush());
    EXPECT_THAT(collector.batch().measurements, SizeIs(2));
}

TEST_F(BatchingTest, LeavesWhenTheConnectionEnds) {
    FakeCollector collector;
    {
        Connection connection(ownName);
        connect(connection, collector);
        const Measurement measurement(connection, "a");
        measurement.add(1);
    }
    EXPECT_THAT(collector.batch().measurements, SizeIs(1));
}

// --- Samples and keys at the limits --------------------------------------------------------------

constexpr std::size_t headerAndOneItem = 28 + 1 + 4;

TEST_F(BatchingTest, HoldsASampleWhoseKeyFillsTheWholeMessage) {
    FakeCollector collector;
    Connection connection(ownName);
    connect(connection, collector);
    const std::string longest(messageSize - headerAndOneItem - 8, 'n');
    const Measurement measurement(connection, longest);
    const Counter counter(connection, longest);
    measurement.add(1);
    counter.add(2);
    measurement.add(3);
    EXPECT_TRUE(connection.flush());
    const auto batches = collector.batches();
    ASSERT_THAT(batches, SizeIs(3));
    for (const Batch& batch : batches) {
        EXPECT_EQ(batch.size, messageSize);
    }
    EXPECT_THAT(batches[0].measurements, ElementsAre(Item{longest, 1}));
    EXPECT_THAT(batches[1].counters, ElementsAre(Item{longest, 2}));
    EXPECT_THAT(batches[2].measurements, ElementsAre(Item{longest, 3}));
}

TEST_F(BatchingTest, RefusesAKeyThatNoMessageHolds) {
    Connection connection(ownName);
    const std::string tooLong(messageSize - headerAndOneItem - 8 + 1, 'n');
    EXPECT_THROW(Measurement(connection, tooLong), std::length_error);
    EXPECT_THROW(Counter(connection, tooLong), std::length_error);
    EXPECT_NO_THROW(Record(connection, tooLong));
    const std::string tooLongForAnEmptyRecord(messageSize - headerAndOneItem + 1, 'n');
    EXPECT_THROW(Record(connection, tooLongForAnEmptyRecord), std::length_error);
}

TEST_F(BatchingTest, ContextCountsIntoTheSizeOfAKey) {
    Connection connection(ownName);
    const std::string context = "rfBranch=1";
    const std::string name(messageSize - headerAndOneItem - 8 - context.size() - 1, 'n');
    EXPECT_NO_THROW(Measurement(connection, name, context));
    EXPECT_THROW(Measurement(connection, name + "n", context), std::length_error);
}

TEST_F(BatchingTest, DropsAndCountsARecordThatNoMessageHolds) {
    FakeCollector collector;
    Connection connection(ownName);
    connect(connection, collector);
    const Record record(connection, "r");
    const std::vector<unsigned char> largest(messageSize - headerAndOneItem - 1);
    std::vector<unsigned char> tooLarge = largest;
    tooLarge.push_back(0);
    EXPECT_FALSE(record.add(tooLarge));
    EXPECT_EQ(connection.statistics().tooLarge.samples, 1u);
    EXPECT_TRUE(record.add(largest));
    EXPECT_EQ(connection.statistics().tooLarge.samples, 1u);
    EXPECT_TRUE(connection.flush());
    EXPECT_EQ(collector.batch().size, messageSize);
    EXPECT_TRUE(collector.nothingWaits());
}

TEST_F(BatchingTest, RefusesNamesAndContextsThatTheCollectorCannotRead) {
    Connection connection(ownName);
    EXPECT_THROW(Measurement(connection, ""), std::invalid_argument);
    EXPECT_THROW(Counter(connection, "a b"), std::invalid_argument);
    EXPECT_THROW(Record(connection, "a", "rfBranch=1 "), std::invalid_argument);
    EXPECT_THROW(Record(connection, "a", "rfbranch=1"), std::invalid_argument);
    EXPECT_THROW(Counter(connection, "a", "colour=1"), std::invalid_argument);
}

// --- What adding costs
// -----------------------------------------------------------------------------

class AddingTest : public BatchingTest {
protected:
    // Enough for hundreds of batches.
    static void addMany(const Measurement& measurement, const Counter& counter,
                        const Record& record) {
        for (int sample = 0; sample < 10'000; ++sample) {
            measurement.add(sample);
            counter.add(1);
            (void)record.add(payload);
        }
    }

    static constexpr unsigned char payload[] = {1, 2, 3};
};

TEST_F(AddingTest, AllocatesNothingWhileBatchesAreDropped) {
    Connection connection(ownName, {}, {.queuedBatches = 3});
    const Measurement measurement(connection, "m", "rfBranch=1");
    const Counter counter(connection, "c", "rfBranch=1");
    const Record record(connection, "r", "rfBranch=1");
    const std::size_t before = allocationCount();
    addMany(measurement, counter, record);
    EXPECT_EQ(allocationCount(), before);
    EXPECT_GT(connection.statistics().notConnected.batches, 100u);
}

// Messages are the mailbox's memory, not operator new's: one for each batch.
TEST_F(AddingTest, AllocatesNothingWhileBatchesLeave) {
    FakeCollector collector;
    Connection connection(ownName);
    connect(connection, collector);
    const Measurement measurement(connection, "m", "rfBranch=1");
    const Counter counter(connection, "c", "rfBranch=1");
    const Record record(connection, "r", "rfBranch=1");
    const std::size_t before = allocationCount();
    addMany(measurement, counter, record);
    EXPECT_EQ(allocationCount(), before);
    EXPECT_GT(connection.statistics().sentBatches, 100u);
}

TEST_F(AddingTest, HandleThatMemoryRefusesCanBeDefinedLater) {
    const std::string name(100, 'n');
    Connection connection(ownName);
    for (std::size_t failing = 0;; ++failing) {
        bool failed = false;
        {
            const AllocationFault fault(failing);
            try {
                const Counter counter(connection, name, "rfBranch=1");
            } catch (const std::bad_alloc&) {
            }
            failed = fault.hasFailed();
        }
        if (!failed) {
            EXPECT_GT(failing, 0u);
            return;
        }
    }
}

}  // namespace
}  // namespace Qdx::Frontend
