// What is dropped when the collector is slow or away, how it is counted, and that totals stay
// right.
#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "connectionFixture.hpp"
#include "messageFault.hpp"

namespace Qdx::Frontend {
namespace {

using ::testing::SizeIs;
using namespace std::chrono_literals;

class LossTest : public ConnectionTest {
protected:
    // 62 items of 16 bytes fill a batch.
    static constexpr std::int64_t samplesPerBatch = 62;

    LossTest() { useSmallMessages(); }

    // Adds first, first + 1, ... to a measurement whose items have 16 bytes: so many full batches
    // close, and one sample begins the next.
    static std::int64_t closeBatches(const Measurement& measurement, std::int64_t first,
                                     int batches) {
        const std::int64_t end = first + batches * samplesPerBatch;
        for (std::int64_t value = first; value <= end; ++value) {
            measurement.add(value);
        }
        return end + 1;
    }

    static std::vector<std::int64_t> valuesOf(const std::vector<Batch>& batches) {
        std::vector<std::int64_t> values;
        for (const Batch& batch : batches) {
            for (const Item& item : batch.measurements) {
                values.push_back(item.value);
            }
        }
        return values;
    }

    static std::vector<std::int64_t> range(std::int64_t first, std::int64_t end) {
        std::vector<std::int64_t> values;
        for (; first < end; ++first) {
            values.push_back(first);
        }
        return values;
    }

    static void findCollector(Connection& connection, FakeCollector& collector) {
        connection.poll(*connection.nextDeadline());
        collector.confirm();
        connection.poll();
    }
};

TEST_F(LossTest, BatchesWaitForACollectorWithinTheBound) {
    Connection connection(ownName, {}, {.queuedBatches = 4});
    const Measurement measurement(connection, "abc");
    const std::int64_t end = closeBatches(measurement, 0, 4);
    EXPECT_EQ(connection.waitingBatches(), 4u);
    EXPECT_EQ(connection.statistics().notConnected.batches, 0u);
    FakeCollector collector;
    connect(connection, collector);
    EXPECT_EQ(connection.waitingBatches(), 0u);
    EXPECT_TRUE(connection.flush());
    EXPECT_EQ(valuesOf(collector.batches()), range(0, end));
}

TEST_F(LossTest, OldestIsDroppedBeyondTheBound) {
    Connection connection(ownName, {}, {.queuedBatches = 4});
    const Measurement measurement(connection, "abc");
    const std::int64_t end = closeBatches(measurement, 0, 7);
    EXPECT_EQ(connection.waitingBatches(), 4u);
    EXPECT_EQ(connection.statistics().notConnected.batches, 3u);
    EXPECT_EQ(connection.statistics().notConnected.samples, 3u * 62);
    FakeCollector collector;
    connect(connection, collector);
    EXPECT_TRUE(connection.flush());
    EXPECT_EQ(valuesOf(collector.batches()), range(3 * samplesPerBatch, end));
}

TEST_F(LossTest, BoundOfNoBatchIsOne) {
    Connection connection(ownName, {}, {.queuedBatches = 0});
    const Measurement measurement(connection, "abc");
    closeBatches(measurement, 0, 2);
    EXPECT_EQ(connection.waitingBatches(), 1u);
}

TEST_F(LossTest, SlowCollectorIsAwaitedThenPaysWithTheOldest) {
    FakeCollector collector;
    Connection connection(ownName, {}, {.queuedBatches = 2});
    connect(connection, collector);
    const Measurement measurement(connection, "abc");
    std::int64_t end = 0;
    while (connection.statistics().slowCollector.batches == 0) {
        end = closeBatches(measurement, end, 1);
        ASSERT_LT(connection.statistics().sentBatches, 100'000u);
    }
    EXPECT_EQ(connection.waitingBatches(), 2u);
    EXPECT_EQ(connection.statistics().slowCollector.samples, 62u);
    EXPECT_FALSE(isReadable(connection));
    EXPECT_EQ(connection.nextDeadline(), std::nullopt);

    // What the collector's mailbox had taken comes whole, then one batch is missing.
    const auto first = valuesOf(collector.batches());
    EXPECT_EQ(first, range(0, static_cast<std::int64_t>(first.size())));
    ASSERT_TRUE(isReadable(connection));
    connection.poll();
    EXPECT_TRUE(connection.flush());
    EXPECT_EQ(valuesOf(collector.batches()),
              range(static_cast<std::int64_t>(first.size()) + samplesPerBatch, end));
    EXPECT_EQ(connection.statistics().notConnected.batches, 0u);
}

TEST_F(LossTest, AddingTriesOnceMoreBeforeItDrops) {
    FakeCollector collector;
    Connection connection(ownName, {}, {.queuedBatches = 2});
    connect(connection, collector);
    const Measurement measurement(connection, "abc");
    std::int64_t end = 0;
    while (connection.waitingBatches() < 2) {
        end = closeBatches(measurement, end, 1);
    }
    auto arrived = valuesOf(collector.batches());
    end = closeBatches(measurement, end, 1);
    EXPECT_EQ(connection.statistics().slowCollector.batches, 0u);
    EXPECT_TRUE(connection.flush());
    const auto rest = valuesOf(collector.batches());
    arrived.insert(arrived.end(), rest.begin(), rest.end());
    EXPECT_EQ(arrived, range(0, end));
}

TEST_F(LossTest, NothingClosesABatchBehindThoseThatWait) {
    FakeCollector collector;
    Connection connection(ownName);
    connect(connection, collector);
    const Measurement measurement(connection, "abc");
    std::int64_t end = 0;
    while (connection.waitingBatches() == 0) {
        end = closeBatches(measurement, end, 1);
    }
    measurement.add(end);
    EXPECT_FALSE(connection.flush());
    connection.poll(Clock::now() + 1h);
    EXPECT_EQ(connection.waitingBatches(), 1u);
}

TEST_F(LossTest, BatchesThatWaitOutliveTheCollectorThatDidNotTakeThem) {
    std::optional<FakeCollector> collector(std::in_place);
    Connection connection(ownName, {}, {.queuedBatches = 100});
    connect(connection, *collector);
    const Measurement measurement(connection, "abc");
    std::int64_t end = 0;
    while (connection.waitingBatches() < 50) {
        end = closeBatches(measurement, end, 1);
    }
    const auto taken = static_cast<std::int64_t>(valuesOf(collector->batches()).size());
    collector.reset();
    connection.poll();
    EXPECT_EQ(connection.state(), State::Seeking);
    collector.emplace();
    findCollector(connection, *collector);
    EXPECT_TRUE(connection.flush());
    EXPECT_EQ(valuesOf(collector->batches()), range(taken, end));
}

TEST_F(LossTest, RefusalIsACauseOfItsOwn) {
    FakeCollector collector;
    Connection connection(ownName, {}, {.queuedBatches = 1});
    connection.poll();
    collector.reject();
    connection.poll();
    const Measurement measurement(connection, "abc");
    closeBatches(measurement, 0, 3);
    EXPECT_EQ(connection.statistics().refusedRevision.batches, 2u);
    EXPECT_EQ(connection.statistics().refusedRevision.samples, 2u * 62);
    EXPECT_EQ(connection.statistics().notConnected.batches, 0u);
    EXPECT_TRUE(collector.nothingWaits());
}

TEST_F(LossTest, BatchWaitsForMemoryToSendItWith) {
    FakeCollector collector;
    Connection connection(ownName, {}, {.retryPeriod = 5s});
    connect(connection, collector);
    const Measurement measurement(connection, "abc");
    measurement.add(1);
    {
        const MessageFault fault;
        EXPECT_FALSE(connection.flush());
        EXPECT_EQ(connection.waitingBatches(), 1u);
        const auto deadline = connection.nextDeadline();
        ASSERT_TRUE(deadline.has_value());
        EXPECT_LE(*deadline, Clock::now() + 5s);
    }
    connection.poll();
    EXPECT_EQ(valuesOf(collector.batches()), range(1, 2));
    EXPECT_EQ(connection.nextDeadline(), std::nullopt);
    EXPECT_EQ(connection.statistics().noMemory.batches, 0u);
}

TEST_F(LossTest, WantOfMemoryIsACauseOfItsOwn) {
    FakeCollector collector;
    Connection connection(ownName, {}, {.queuedBatches = 1});
    connect(connection, collector);
    const Measurement measurement(connection, "abc");
    const MessageFault fault;
    closeBatches(measurement, 0, 3);
    EXPECT_EQ(connection.statistics().noMemory.batches, 2u);
    EXPECT_EQ(connection.statistics().slowCollector.batches, 0u);
}

TEST_F(LossTest, MetaDataWaitForMemoryBeforeAnyBatch) {
    FakeCollector collector;
    Connection connection(ownName, {.hwName = "radio"});
    connection.poll();
    collector.confirm();
    const Measurement measurement(connection, "abc");
    measurement.add(1);
    {
        const MessageFault fault;
        connection.poll();
        EXPECT_EQ(connection.state(), State::Connected);
    }
    EXPECT_FALSE(connection.flush());
    EXPECT_TRUE(collector.nothingWaits());
    EXPECT_TRUE(connection.nextDeadline().has_value());
    connection.poll();
    EXPECT_EQ(collector.metaData().hwname(), "radio");
    EXPECT_TRUE(connection.flush());
    EXPECT_THAT(collector.batches(), SizeIs(1));
}

// A unit whose processes disagree about the largest message.
TEST_F(LossTest, BatchLargerThanTheMailboxTakesNowIsDroppedAndCounted) {
    FakeCollector collector;
    ::setenv("OZO_MAX_SIZE", "2048", 1);
    Connection connection(ownName);
    useSmallMessages();
    connect(connection, collector);
    const Measurement measurement(connection, "abc");
    const Counter counter(connection, "c");
    counter.add(7);
    for (std::int64_t sample = 0; sample < 2 * samplesPerBatch; ++sample) {
        measurement.add(sample);
    }
    EXPECT_TRUE(connection.flush());
    EXPECT_EQ(connection.statistics().tooLarge.batches, 1u);
    EXPECT_EQ(connection.statistics().tooLarge.samples, 2u * 62 + 1);
    counter.add(1);
    EXPECT_TRUE(connection.flush());
    EXPECT_EQ(collector.batch().counters.front().value, 8);
}

// --- Counters ------------------------------------------------------------------------------------

using Totals = std::map<std::string, std::int64_t>;

void addTo(Totals& totals, const std::vector<Batch>& batches) {
    for (const Batch& batch : batches) {
        for (const Item& item : batch.counters) {
            totals[item.key] += item.value;
        }
    }
}

TEST_F(LossTest, DroppedIncrementsGoIntoTheNextSampleOfTheirCounter) {
    Connection connection(ownName, {}, {.queuedBatches = 1});
    const Counter first(connection, "abc");
    const Counter again(connection, "abc");
    const Counter other(connection, "abc", "rfBranch=1");
    const Measurement filler(connection, "mmm");
    first.add(5);
    other.add(100);
    again.add(-2);
    closeBatches(filler, 0, 3);
    first.add(10);
    FakeCollector collector;
    connect(connection, collector);
    EXPECT_TRUE(connection.flush());
    Totals totals;
    addTo(totals, collector.batches());
    EXPECT_EQ(totals, (Totals{{"abc", 13}}));
    other.add(1);
    EXPECT_TRUE(connection.flush());
    addTo(totals, collector.batches());
    EXPECT_EQ(totals, (Totals{{"abc", 13}, {"abc rfBranch=1", 101}}));
}

TEST_F(LossTest, SampleThatPushesItsOwnCounterOutBringsTheIncrementsBack) {
    Connection connection(ownName, {}, {.queuedBatches = 1});
    const Counter counter(connection, "abc");
    for (std::int64_t sample = 0; sample < 2 * samplesPerBatch + 1; ++sample) {
        counter.add(1);
    }
    EXPECT_EQ(connection.statistics().notConnected.batches, 1u);
    FakeCollector collector;
    connect(connection, collector);
    EXPECT_TRUE(connection.flush());
    const auto batches = collector.batches();
    ASSERT_THAT(batches, SizeIs(2));
    EXPECT_EQ(batches[1].counters.front().value, samplesPerBatch + 1);
}

TEST_F(LossTest, IncrementsAtTheLimitsOfTheirTypeWrap) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    Connection connection(ownName, {}, {.queuedBatches = 1});
    const Counter counter(connection, "abc");
    const Measurement filler(connection, "mmm");
    counter.add(most);
    closeBatches(filler, 0, 3);
    counter.add(2);
    FakeCollector collector;
    connect(connection, collector);
    EXPECT_TRUE(connection.flush());
    Totals totals;
    addTo(totals, collector.batches());
    EXPECT_EQ(totals, (Totals{{"abc", std::numeric_limits<std::int64_t>::min() + 1}}));
}

// Random samples to a collector that comes, refuses, reads at random moments, and goes. It reads
// what it has taken before it goes: what a collector took along, nobody can know.
class RandomLossTest : public LossTest, public ::testing::WithParamInterface<unsigned> {
protected:
    static constexpr std::size_t seriesCount = 12;

    RandomLossTest() : random(GetParam()) {
        for (std::size_t index = 0; index < seriesCount; ++index) {
            const std::string context = "rfBranch=" + std::to_string(index);
            counters.emplace_back(connection, "some:counter", context);
            names.push_back("some:counter " + context);
            added[names.back()] = 0;
        }
    }

    std::size_t upTo(std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
    }

    void addSamples(std::size_t count) {
        for (std::size_t sample = 0; sample < count; ++sample) {
            ++samples;
            if (upTo(3) == 0) {
                measurement.add(1);
                continue;
            }
            const std::size_t series = upTo(seriesCount);
            const auto increment = static_cast<std::int64_t>(upTo(2000)) - 500;
            counters[series].add(increment);
            added[names[series]] += increment;
        }
    }

    void pollLater() {
        now = std::max(now, Clock::now()) + 10s;
        connection.poll(now);
    }

    void read() {
        if (!collector) {
            return;
        }
        for (const Batch& batch : collector->batches()) {
            addTo(arrived, {batch});
            arrivedSamples += batch.counters.size() + batch.measurements.size();
        }
    }

    void replaceCollector() {
        read();
        collector.reset();
        if (upTo(3) == 0) {
            return;
        }
        collector.emplace();
        // Once to learn that the last one went, once to ask the new one.
        pollLater();
        pollLater();
        collector->answerLast(upTo(4) != 0);
    }

    // Until nothing waits anywhere and every dropped increment has been sent.
    void settle() {
        read();
        collector.reset();
        collector.emplace();
        pollLater();
        pollLater();
        collector->answerLast(true);
        flushAll();
        for (const Counter& counter : counters) {
            ++samples;
            counter.add(0);
        }
        flushAll();
    }

    void flushAll() {
        do {
            read();
            pollLater();
        } while (!connection.flush());
        read();
    }

    static std::uint64_t droppedSamples(const Statistics& counts) {
        return counts.notConnected.samples + counts.refusedRevision.samples +
               counts.slowCollector.samples + counts.noMemory.samples + counts.tooLarge.samples;
    }

    std::mt19937 random;
    Connection connection{ownName, {}, {.queuedBatches = 3}};
    const Measurement measurement{connection, "some:measurement"};
    std::vector<Counter> counters;
    std::vector<std::string> names;
    std::optional<FakeCollector> collector;
    Clock::time_point now;

    Totals added;
    Totals arrived;
    std::uint64_t samples = 0;
    std::uint64_t arrivedSamples = 0;
};

TEST_P(RandomLossTest, KeepsTheTotalsOfCountersAndAccountsForEverySample) {
    for (int step = 0; step < 400; ++step) {
        switch (upTo(8)) {
            case 0:
                replaceCollector();
                break;
            case 1:
                read();
                break;
            case 2:
                (void)connection.flush();
                break;
            case 3:
                pollLater();
                break;
            case 4: {
                const MessageFault fault;
                addSamples(upTo(500));
                break;
            }
            default:
                addSamples(upTo(3000));
        }
    }
    settle();
    EXPECT_EQ(arrived, added);
    EXPECT_EQ(arrivedSamples + droppedSamples(connection.statistics()), samples);
    EXPECT_GT(droppedSamples(connection.statistics()), 0u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomLossTest, ::testing::Range(1u, 9u));

}  // namespace
}  // namespace Qdx::Frontend
