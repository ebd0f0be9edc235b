#include "batchWriter.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>

#include "allocationCounter.hpp"
#include "hexText.hpp"
#include "wireFormat.hpp"

namespace Qdx::V1 {
namespace {

// Header and sections of a batch with no items.
std::string emptyBatch() {
    return numberInHostOrder(0x017070C3) + " 00000000 00000000 00000000 00000000 00000000 00000000";
}

TEST(BatchWriterTest, MeasurementWithContext) {
    BatchWriter batch(1000);
    ASSERT_TRUE(batch.addMeasurement("a:b", "rfBranch=1", {5}));
    // "a:b rfBranch=1" and its NUL are 15 bytes, the size 4 and the value 8: 27, 0x1b.
    EXPECT_EQ(toHex(batch.take({.procedure = 0x01020304, .connection = 0x0a0b0c0d})),
              numberInHostOrder(0x017070C3) +
                  " 01020304 0a0b0c0d 00000000 0000001b 00000000 00000000"
                  " 613a6220 72664272 616e6368 3d310000 00000800 00000000 000005");
}

TEST(BatchWriterTest, NameWithoutContextIsFollowedByItsNul) {
    BatchWriter batch(1000);
    ASSERT_TRUE(batch.addMeasurement("abc", "", {-1}));
    EXPECT_EQ(toHex(batch.take()), numberInHostOrder(0x017070C3) +
                                       " 00000000 00000000 00000000 00000010 00000000 00000000"
                                       " 61626300 00000008 ffffffff ffffffff");
}

TEST(BatchWriterTest, SectionsFollowEachOtherWhateverTheOrderOfAdding) {
    BatchWriter batch(1000);
    const MessageBytes payload = fromHex("cafe");
    ASSERT_TRUE(batch.addRecord("rec", "", payload));
    ASSERT_TRUE(batch.addCounter("cou", "", {2}));
    ASSERT_TRUE(batch.addMeasurement("mea", "", {1}));
    ASSERT_TRUE(batch.addCounter("cov", "", {3}));
    EXPECT_EQ(toHex(batch.take()), numberInHostOrder(0x017070C3) +
                                       " 00000000 00000000 00000000 00000010 00000020 0000000a"
                                       " 6d656100 00000008 00000000 00000001"
                                       " 636f7500 00000008 00000000 00000002"
                                       " 636f7600 00000008 00000000 00000003"
                                       " 72656300 00000002 cafe");
}

TEST(BatchWriterTest, RecordMayBeEmpty) {
    BatchWriter batch(1000);
    ASSERT_TRUE(batch.addRecord("rec", "", {}));
    EXPECT_EQ(toHex(batch.take()),
              numberInHostOrder(0x017070C3) +
                  " 00000000 00000000 00000000 00000000 00000000 00000008 72656300 00000000");
}

TEST(BatchWriterTest, ValuesReachTheLimitsOfTheirType) {
    BatchWriter batch(1000);
    ASSERT_TRUE(batch.addMeasurement("min", "", {std::numeric_limits<std::int64_t>::min()}));
    ASSERT_TRUE(batch.addMeasurement("max", "", {std::numeric_limits<std::int64_t>::max()}));
    EXPECT_EQ(toHex(batch.take()).substr(63),
              "6d696e00 00000008 80000000 00000000 6d617800 00000008 7fffffff ffffffff");
}

TEST(BatchWriterTest, BatchWithoutItemsIsItsHeader) {
    BatchWriter batch(1000);
    EXPECT_TRUE(batch.empty());
    EXPECT_EQ(toHex(batch.take()), emptyBatch());
}

TEST(BatchWriterTest, IsEmptyAgainOnceTaken) {
    for (const int section : {0, 1, 2}) {
        BatchWriter batch(1000);
        ASSERT_TRUE(section == 0   ? batch.addMeasurement("a", "", {1})
                    : section == 1 ? batch.addCounter("a", "", {1})
                                   : batch.addRecord("a", "", {}));
        EXPECT_FALSE(batch.empty());
        batch.take();
        EXPECT_TRUE(batch.empty());
        EXPECT_EQ(toHex(batch.take()), emptyBatch());
    }
}

TEST(BatchWriterTest, FillsTheMessageToItsLastByte) {
    const std::size_t itemSize = 4 + 4 + 8;
    const std::size_t twoItems = beProcessBatchesFixedSize + 2 * itemSize;
    BatchWriter exact(twoItems);
    EXPECT_TRUE(exact.addMeasurement("abc", "", {1}));
    EXPECT_TRUE(exact.addCounter("abc", "", {1}));
    EXPECT_FALSE(exact.addMeasurement("abc", "", {1}));
    EXPECT_FALSE(exact.addCounter("abc", "", {1}));
    EXPECT_FALSE(exact.addRecord("abc", "", {}));
    EXPECT_EQ(exact.take().size(), twoItems);

    BatchWriter oneByteShort(twoItems - 1);
    EXPECT_TRUE(oneByteShort.addMeasurement("abc", "", {1}));
    EXPECT_FALSE(oneByteShort.addMeasurement("abc", "", {1}));
}

TEST(BatchWriterTest, SampleThatDoesNotFitLeavesTheBatchAsItIs) {
    BatchWriter batch(beProcessBatchesFixedSize + 31);
    ASSERT_TRUE(batch.addMeasurement("abc", "", {1}));
    ASSERT_FALSE(batch.addMeasurement("abc", "rfBranch=1", {2}));
    ASSERT_FALSE(batch.addCounter("abc", "", {2}));
    EXPECT_EQ(toHex(batch.take()), numberInHostOrder(0x017070C3) +
                                       " 00000000 00000000 00000000 00000010 00000000 00000000"
                                       " 61626300 00000008 00000000 00000001");
    EXPECT_TRUE(batch.addCounter("abc", "", {2}));
}

TEST(BatchWriterTest, RefusesASampleLargerThanAMessage) {
    BatchWriter batch(beProcessBatchesFixedSize + 16);
    EXPECT_THROW((void)batch.addMeasurement("abcd", "", {1}), std::length_error);
    const MessageBytes payload(9);
    EXPECT_THROW((void)batch.addRecord("abc", "", payload), std::length_error);
    EXPECT_TRUE(batch.empty());
    EXPECT_TRUE(batch.addMeasurement("abc", "", {1}));
}

TEST(BatchWriterTest, RefusesTextsThatTheReceiverWouldCutElsewhere) {
    BatchWriter batch(1000);
    for (const char end : {' ', '\t', '\n', '\v', '\f', '\r', '\0'}) {
        const std::string text = std::string("a") + end + "b";
        EXPECT_THROW((void)batch.addMeasurement(text, "", {1}), std::invalid_argument);
        EXPECT_THROW((void)batch.addCounter("a", text, {1}), std::invalid_argument);
        EXPECT_THROW((void)batch.addRecord(text, text, {}), std::invalid_argument);
    }
    EXPECT_TRUE(batch.empty());
}

TEST(BatchWriterTest, RefusesASampleWithoutAName) {
    BatchWriter batch(1000);
    EXPECT_THROW((void)batch.addMeasurement("", "rfBranch=1", {1}), std::invalid_argument);
    EXPECT_TRUE(batch.empty());
}

// Adds to a batch of one sample, with allocation 0, 1, 2, ... of the adding failing until none
// does; gives the number of failures.
template <typename Add>
std::size_t sweepAdding(Add add) {
    for (std::size_t failing = 0;; ++failing) {
        BatchWriter batch(1000);
        if (!batch.addMeasurement("abc", "", {1})) {
            throw std::logic_error("the first sample doesn't fit");
        }
        bool failed = false;
        {
            const AllocationFault fault(failing);
            try {
                add(batch);
            } catch (const std::bad_alloc&) {
                failed = fault.hasFailed();
            }
        }
        if (!failed) {
            return failing;
        }
        EXPECT_EQ(toHex(batch.take()), numberInHostOrder(0x017070C3) +
                                           " 00000000 00000000 00000000 00000010 00000000 00000000"
                                           " 61626300 00000008 00000000 00000001");
    }
}

TEST(BatchWriterTest, SampleThatMemoryRefusesLeavesTheBatchAsItIs) {
    const std::string longContext = "rfBranch=1,carrierId=" + std::string(100, '7');
    const MessageBytes payload(100);
    EXPECT_EQ(sweepAdding([&](BatchWriter& batch) {
                  EXPECT_TRUE(batch.addMeasurement("name", longContext, {2}));
              }),
              1U);
    EXPECT_EQ(sweepAdding([&](BatchWriter& batch) {
                  EXPECT_TRUE(batch.addCounter("name", longContext, {2}));
              }),
              1U);
    EXPECT_EQ(
        sweepAdding([&](BatchWriter& batch) { EXPECT_TRUE(batch.addRecord("name", "", payload)); }),
        1U);
}

TEST(BatchWriterTest, MessageThatMemoryRefusesTakesNothing) {
    BatchWriter batch(1000);
    ASSERT_TRUE(batch.addMeasurement("abc", "", {1}));
    {
        const AllocationFault fault(0);
        EXPECT_THROW(batch.take(), std::bad_alloc);
    }
    EXPECT_EQ(batch.take().size(), beProcessBatchesFixedSize + 16);
}

TEST(BatchWriterTest, AddingAllocatesNothingOnceTheBuffersHaveGrown) {
    BatchWriter batch(65536);
    const MessageBytes payload(16);
    const auto fill = [&] {
        int samples = 0;
        while (batch.addMeasurement("host:cpu:load", "deviceId=0", {1}) &&
               batch.addCounter("host:cpu:busy", "deviceId=0", {1}) &&
               batch.addRecord("host:event", "deviceId=0", payload)) {
            ++samples;
        }
        return samples;
    };
    const int samples = fill();
    EXPECT_GT(samples, 500);
    batch.take();
    const std::size_t before = allocationCount();
    EXPECT_EQ(fill(), samples);
    EXPECT_EQ(allocationCount(), before);
}

}  // namespace
}  // namespace Qdx::V1
