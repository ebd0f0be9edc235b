// What the collector must have got of a series.
#include "expectation.hpp"

#include <gmock/gmock.h>

#include <algorithm>

#include "random.hpp"
#include "runBuilder.hpp"

namespace {

using namespace QdxLoad;
using namespace QdxLoad::Test;
using testing::ElementsAre;

constexpr std::size_t all = 100'000;

TEST(ExpectationTest, EverySampleSentIsExpectedOnce) {
    const auto run = RunBuilder().sent(18);
    const auto expected = expect(run.ledger(), measurement, all);
    EXPECT_THAT(expected.newest, ElementsAre(valueOf(run.ledger(), measurement, 0),
                                             valueOf(run.ledger(), measurement, 1),
                                             valueOf(run.ledger(), measurement, 2)));
    EXPECT_EQ(expected.total, 3U);
    EXPECT_EQ(expected.certain, 3U);
}

TEST(ExpectationTest, WhatWasDroppedIsNot) {
    const auto run = RunBuilder().sent(6).dropped(6, 18).sent(12);
    EXPECT_THAT(
        expect(run.ledger(), measurement, all).newest,
        ElementsAre(valueOf(run.ledger(), measurement, 0), valueOf(run.ledger(), measurement, 2),
                    valueOf(run.ledger(), measurement, 3)));
}

TEST(ExpectationTest, DroppedIncrementsAreCarriedByTheFirstSampleAddedBehind) {
    const auto run = RunBuilder().sent(6).dropped(6, 18).sent(12);
    const auto& ledger = run.ledger();
    EXPECT_THAT(expect(ledger, counter, all).newest,
                ElementsAre(valueOf(ledger, counter, 0), valueOf(ledger, counter, 2),
                            valueOf(ledger, counter, 3) + valueOf(ledger, counter, 1)));
}

TEST(ExpectationTest, WhatWentToAnEarlierCollectorIsNot) {
    const auto run = RunBuilder().sent(12).reconnect().sent(6);
    EXPECT_THAT(expect(run.ledger(), measurement, all).newest,
                ElementsAre(valueOf(run.ledger(), measurement, 2)));
}

TEST(ExpectationTest, WhatWaitedIsNotCertain) {
    const auto run = RunBuilder().sent(12).waiting(6);
    const auto expected = expect(run.ledger(), measurement, all);
    EXPECT_EQ(expected.total, 3U);
    EXPECT_EQ(expected.certain, 2U);
}

TEST(ExpectationTest, KeepsTheNewest) {
    const auto run = RunBuilder().sent(600);
    const auto expected = expect(run.ledger(), measurement, 10);
    EXPECT_EQ(expected.total, 100U);
    ASSERT_GE(expected.newest.size(), 10U);
    EXPECT_LE(expected.newest.size(), 20U);
    EXPECT_EQ(expected.newest.back(), valueOf(run.ledger(), measurement, 99));
    EXPECT_EQ(expected.newest.front(), valueOf(run.ledger(), measurement, expected.skipped()));
}

TEST(ExpectationTest, CountsTheSamplesOfEachSeries) {
    const auto run = RunBuilder().sent(8);
    std::uint64_t sum = 0;
    for (std::uint64_t number = 0; number < 6; ++number) {
        const auto samples = samplesOf(run.ledger(), run.ledger().plan.seriesAt(number));
        EXPECT_THAT(samples, testing::AnyOf(1, 2));
        sum += samples;
    }
    EXPECT_EQ(sum, 8U);
}

TEST(ExpectationTest, TellsTheFateOfEachSample) {
    const auto run = RunBuilder().sent(6).reconnect().dropped(6, 12).sent(6).waiting(6);
    EXPECT_EQ(fateOf(run.ledger(), measurement, 0), "went to an earlier collector");
    EXPECT_EQ(fateOf(run.ledger(), measurement, 1), "was dropped (slowCollector)");
    EXPECT_EQ(fateOf(run.ledger(), measurement, 2), sentToThisCollector);
    EXPECT_EQ(fateOf(run.ledger(), measurement, 3), "was waiting at the end");
}

// A frontend as it works: adds sample by sample, drops whole batches that carry their increments.
class SlowFrontend {
public:
    SlowFrontend(Random& source, std::uint64_t queueSize) : random(source), bound(queueSize) {}

    RunBuilder run(const Series& series, std::uint64_t samples) {
        RunBuilder builder;
        const auto order = builder.ledger().plan.order(0);
        const auto number = builder.ledger().plan.numberOf(series);
        for (std::uint64_t index = 0; index < samples; ++index) {
            if (index > 0 && random.next() % 4 == 0) {
                closeBatch(builder, index);
            }
            std::uint64_t value = 0;
            if (order[index % order.size()] == number) {
                value = static_cast<std::uint64_t>(
                    encode({.series = number, .sequence = index / order.size()}));
                value += std::exchange(carried, 0);
            }
            open.push_back(static_cast<std::int64_t>(value));
        }
        closeBatch(builder, samples);
        while (!queue.empty()) {
            sendOldest(builder);
        }
        return builder;
    }

    std::vector<std::int64_t> arrived;

private:
    void closeBatch(RunBuilder& builder, std::uint64_t index) {
        if (queue.size() == bound) {
            const auto batch = takeOldest();
            for (const auto value : batch) {
                carried += static_cast<std::uint64_t>(value);
            }
            builder.dropped(batch.size(), index);
        }
        queue.push_back(std::exchange(open, {}));
        while (!queue.empty() && random.next() % 3 == 0) {
            sendOldest(builder);
        }
    }

    void sendOldest(RunBuilder& builder) {
        const auto batch = takeOldest();
        std::copy_if(batch.begin(), batch.end(), std::back_inserter(arrived),
                     [](std::int64_t value) { return value != 0; });
        builder.sent(batch.size());
    }

    std::vector<std::int64_t> takeOldest() {
        auto batch = std::move(queue.front());
        queue.erase(queue.begin());
        return batch;
    }

    Random& random;
    const std::uint64_t bound;
    std::uint64_t carried = 0;
    std::vector<std::int64_t> open;
    std::vector<std::vector<std::int64_t>> queue;
};

TEST(ExpectationTest, CountersAreAsAPlainFrontendSendsThem) {
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        Random random(seed);
        SlowFrontend frontend(random, 1 + seed % 4);
        const auto run = frontend.run(counter, random.next() % 400);
        EXPECT_EQ(expect(run.ledger(), counter, all).newest, frontend.arrived) << "seed " << seed;
    }
}

TEST(ExpectationTest, DeliveriesAreWhatTheLastCollectorGot) {
    const auto run = RunBuilder().sent(6).reconnect().sent(6).dropped(6, 18).sent(6);
    const auto& ledger = run.ledger();
    const auto turn = turnOf(ledger.plan, measurement);
    EXPECT_THAT(deliveriesOf(ledger, measurement),
                testing::ElementsAre(Delivery{turn + 6, valueOf(ledger, measurement, 1)},
                                     Delivery{turn + 18, valueOf(ledger, measurement, 3)}));
    EXPECT_THAT(deliveriesOf(ledger, counter),
                testing::ElementsAre(
                    Delivery{turnOf(ledger.plan, counter) + 6, valueOf(ledger, counter, 1)},
                    Delivery{turnOf(ledger.plan, counter) + 18,
                             valueOf(ledger, counter, 2) + valueOf(ledger, counter, 3)}));
}

}  // namespace
