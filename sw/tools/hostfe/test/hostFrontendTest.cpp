#include "hostFrontend.hpp"

#include <gtest/gtest.h>

namespace HostFe {
namespace {

class DescribeStatisticsTest : public ::testing::Test {
protected:
    Qdx::Frontend::Statistics counts;
};

TEST_F(DescribeStatisticsTest, TellsWhatWasSent) {
    counts.sentBatches = 12;
    EXPECT_EQ(describe(counts), "sent 12 batches; dropped samples: none");
}

TEST_F(DescribeStatisticsTest, TellsHowManySamplesWereDroppedForEachCause) {
    counts.notConnected = {.batches = 9, .samples = 1};
    counts.refusedRevision = {.batches = 9, .samples = 2};
    counts.slowCollector = {.batches = 9, .samples = 3};
    counts.noMemory = {.batches = 9, .samples = 4};
    counts.tooLarge = {.batches = 9, .samples = 5};
    EXPECT_EQ(describe(counts),
              "sent 0 batches; dropped samples: 1 without a collector, 2 for the protocol's "
              "revision, 3 for a slow collector, 4 for want of memory, 5 too large");
}

TEST_F(DescribeStatisticsTest, LeavesOutCausesThatDidNotOccur) {
    counts.slowCollector = {.batches = 1, .samples = 80};
    EXPECT_EQ(describe(counts), "sent 0 batches; dropped samples: 80 for a slow collector");
}

}  // namespace
}  // namespace HostFe
