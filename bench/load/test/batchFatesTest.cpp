// The samples of each batch are told from a connection's counters.
#include "batchFates.hpp"

#include <gmock/gmock.h>

namespace {

using namespace QdxLoad;
using testing::ElementsAre;

// A connection that counts, as its fates see it.
class Counted {
public:
    Counted& connect() {
        ++counts.connections;
        return observe();
    }
    // Adds samples that fit into the open batch.
    Counted& add(std::uint64_t samples) {
        for (; samples > 0; --samples) {
            ++added;
            fates.observe(counts, waiting, added - 1);
        }
        return *this;
    }
    // Adds a sample that doesn't: the open batch is closed and waits.
    Counted& addToNew() {
        ++added;
        ++waiting;
        fates.observe(counts, waiting, added - 1);
        return *this;
    }
    // Such a sample, while the queue is full.
    Counted& addAndDrop(Qdx::Frontend::Drops Qdx::Frontend::Statistics::*cause) {
        ++added;
        ++(counts.*cause).batches;
        fates.observe(counts, waiting, added - 1);
        return *this;
    }
    Counted& send(std::size_t batches) {
        counts.sentBatches += batches;
        waiting -= batches;
        return observe();
    }
    // The open batch leaves by its age.
    Counted& sendOpen() {
        ++counts.sentBatches;
        return observe();
    }

    std::vector<Range> ranges() const { return fates.ranges(added); }

private:
    Counted& observe() {
        fates.observe(counts, waiting, added);
        return *this;
    }

    Qdx::Frontend::Statistics counts;
    std::size_t waiting = 0;
    std::uint64_t added = 0;
    BatchFates fates;
};

TEST(BatchFatesTest, NothingAddedIsNothing) {
    EXPECT_THAT(Counted().connect().ranges(), ElementsAre());
}

TEST(BatchFatesTest, TheOpenBatchWaits) {
    EXPECT_THAT(Counted().connect().add(3).ranges(), ElementsAre(Range{0, 3, Fate::Waiting}));
}

TEST(BatchFatesTest, ABatchEndsInFrontOfTheSampleThatDoesNotFit) {
    EXPECT_THAT(Counted().connect().add(3).addToNew().send(1).ranges(),
                ElementsAre(Range{0, 3, Fate::Sent, 1}, Range{3, 4, Fate::Waiting}));
}

TEST(BatchFatesTest, AnOldBatchHoldsAllThatWasAdded) {
    EXPECT_THAT(Counted().connect().add(3).sendOpen().ranges(),
                ElementsAre(Range{0, 3, Fate::Sent, 1}));
}

TEST(BatchFatesTest, BatchesSentInARowStayApart) {
    EXPECT_THAT(Counted().connect().add(3).addToNew().addToNew().send(2).sendOpen().ranges(),
                ElementsAre(Range{0, 3, Fate::Sent, 1}, Range{3, 4, Fate::Sent, 1},
                            Range{4, 5, Fate::Sent, 1}));
}

TEST(BatchFatesTest, TheOldestIsDroppedAndCarriedFromTheSampleThatDroveItOut) {
    EXPECT_THAT(Counted()
                    .connect()
                    .add(3)
                    .addToNew()
                    .addAndDrop(&Qdx::Frontend::Statistics::slowCollector)
                    .ranges(),
                ElementsAre(Range{0, 3, Fate::Dropped, 4, Cause::SlowCollector},
                            Range{3, 5, Fate::Waiting}));
}

TEST(BatchFatesTest, EveryCauseIsKept) {
    using Qdx::Frontend::Statistics;
    const auto ranges = Counted()
                            .add(1)
                            .addToNew()
                            .addAndDrop(&Statistics::notConnected)
                            .addAndDrop(&Statistics::refusedRevision)
                            .addAndDrop(&Statistics::slowCollector)
                            .addAndDrop(&Statistics::noMemory)
                            .addAndDrop(&Statistics::tooLarge)
                            .ranges();
    ASSERT_EQ(ranges.size(), 6U);
    for (std::size_t cause = 0; cause < causeCount; ++cause) {
        EXPECT_EQ(ranges[cause].cause, static_cast<Cause>(cause));
    }
}

TEST(BatchFatesTest, WhatWasSentBelongsToTheConnectionThatWasUpThen) {
    EXPECT_THAT(Counted().connect().add(2).sendOpen().add(1).connect().sendOpen().ranges(),
                ElementsAre(Range{0, 2, Fate::Sent, 1}, Range{2, 3, Fate::Sent, 2}));
}

TEST(BatchFatesTest, ABatchThatIsGoneWithoutBeingCountedIsNoticed) {
    BatchFates fates;
    fates.observe({}, 2, 5);
    EXPECT_THROW(fates.observe({}, 1, 5), std::logic_error);
}

}  // namespace
