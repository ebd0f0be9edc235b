#include "globalMemory.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <new>

#include "failureReport.hpp"
#include "heapFault.hpp"
#include "memoryFaults.hpp"

namespace Qdx::Backend {
namespace {

using Test::DefaultResourceScope;
using Test::FailingResource;
using Test::failuresOf;
using Test::HeapFault;
using Test::heapUse;

TEST(GlobalMemory, SplitsTheLimitIntoSharesThatOverlap) {
    GlobalMemory memory(1000);
    EXPECT_EQ(memory.getCommonResource()->getName(), "global");
    EXPECT_EQ(memory.getMainResource()->getName(), "globalMain");
    EXPECT_EQ(memory.getContentResource()->getName(), "globalContent");
    EXPECT_EQ(memory.getCommonResource()->getRemainingSize(), 1000U);
    EXPECT_EQ(memory.getMainResource()->getRemainingSize(), 700U);
    EXPECT_EQ(memory.getContentResource()->getRemainingSize(), 990U);
}

TEST(GlobalMemory, TruncatesTheShares) {
    GlobalMemory memory(1);
    EXPECT_EQ(memory.getMainResource()->getRemainingSize(), 0U);
    EXPECT_EQ(memory.getContentResource()->getRemainingSize(), 0U);
    EXPECT_EQ(memory.getCommonResource()->getRemainingSize(), 1U);
}

TEST(GlobalMemory, SharesOfAnEnormousLimitWrap) {
    const auto most = std::numeric_limits<unsigned long>::max();
    GlobalMemory memory(most);
    // most * 70 = 2^64 - 70 modulo 2^64
    EXPECT_EQ(memory.getMainResource()->getRemainingSize(), (most - 69) / 100);
    EXPECT_EQ(memory.getContentResource()->getRemainingSize(), (most - 98) / 100);
}

TEST(GlobalMemory, MainAndContentTogetherStopAtTheLimit) {
    GlobalMemory memory(1000);
    void* structures = memory.getMainResource()->allocate(600);
    EXPECT_THROW(static_cast<void>(memory.getContentResource()->allocate(401)), std::bad_alloc);
    EXPECT_EQ(memory.getContentResource()->getRemainingSize(), 990U);
    void* samples = memory.getContentResource()->allocate(400);
    EXPECT_EQ(memory.getCommonResource()->getAllocatedSize(), 1000U);
    memory.getContentResource()->deallocate(samples, 400);
    memory.getMainResource()->deallocate(structures, 600);

    EXPECT_EQ(failuresOf("path globalContent"),
              "Number of failed allocations for path globalContent global: 1\n");
}

TEST(GlobalMemory, DrawsOnTheDefaultResource) {
    FailingResource heap;
    const DefaultResourceScope scope(&heap);
    GlobalMemory memory(1000);
    void* block = memory.getMainResource()->allocate(10);
    EXPECT_EQ(heap.held(), 10U);
    memory.getMainResource()->deallocate(block, 10);
    EXPECT_EQ(heap.held(), 0U);
}

TEST(GlobalMemory, HeapFailureWhileItIsBuiltLeavesNothingBehind) {
    bool failed = true;
    for (std::size_t failing = 0; failed; ++failing) {
        const auto before = heapUse();
        const HeapFault fault(failing);
        bool built = false;
        try {
            GlobalMemory memory(1000);
            built = memory.getContentResource()->getRemainingSize() == 990U;
        } catch (const std::bad_alloc&) {
            built = false;
        }
        failed = fault.hasFailed();
        EXPECT_EQ(built, !failed) << failing;
        EXPECT_EQ(heapUse().blocks, before.blocks) << failing;
    }
}

}  // namespace
}  // namespace Qdx::Backend
