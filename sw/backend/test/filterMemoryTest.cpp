#include "filterMemory.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <list>

#include "failureReport.hpp"
#include "heapFault.hpp"

namespace Qdx::Backend {
namespace {

using Test::failuresOf;
using Test::HeapFault;

// Blocks held until the end of a test.
class Holdings {
public:
    Holdings() = default;
    ~Holdings() {
        for (const auto& [resource, block, bytes] : blocks)
            resource->deallocate(block, bytes);
    }
    Holdings(const Holdings&) = delete;
    Holdings& operator=(const Holdings&) = delete;

    bool take(CountingMemoryResource* resource, std::size_t bytes) {
        try {
            blocks.push_back({resource, resource->allocate(bytes), bytes});
        } catch (const std::bad_alloc&) {
            return false;
        }
        return true;
    }

private:
    struct Block {
        CountingMemoryResource* resource;
        void* block;
        std::size_t bytes;
    };
    std::list<Block> blocks;
};

TEST(FilterMemory, CountsThePartOfASizeTruncated) {
    EXPECT_EQ(*FilterMemory::partialSize(1000, 70), 700U);
    EXPECT_EQ(*FilterMemory::partialSize(1000, 99), 990U);
    EXPECT_EQ(*FilterMemory::partialSize(1000, 100), 1000U);
    EXPECT_EQ(*FilterMemory::partialSize(1, 70), 0U);
    EXPECT_EQ(*FilterMemory::partialSize(1, 99), 0U);
    EXPECT_EQ(*FilterMemory::partialSize(1, 100), 1U);
    EXPECT_EQ(*FilterMemory::partialSize(0, 100), 0U);
}

TEST(FilterMemory, PartOfNoSizeIsNoCounter) {
    EXPECT_EQ(FilterMemory::partialSize(std::nullopt, 70), nullptr);
}

TEST(FilterMemory, PartOfAnEnormousSizeWraps) {
    const auto most = std::numeric_limits<unsigned long>::max();
    EXPECT_EQ(*FilterMemory::partialSize(most, 100), (most - 99) / 100);
}

TEST(FilterMemory, GivesEachCallOfPartialSizeACounterOfItsOwn) {
    EXPECT_NE(FilterMemory::partialSize(10, 70), FilterMemory::partialSize(10, 70));
}

TEST(FilterMemory, NamesItsResourcesAfterTheFilter) {
    GlobalMemory global(0);
    FilterMemory memory("named", std::nullopt, &global);
    EXPECT_EQ(memory.getMainResource()->getName(), "named.outerMain");
    EXPECT_EQ(memory.getContentResource()->getName(), "named.outerContent");
    Holdings holdings;
    EXPECT_FALSE(holdings.take(memory.getMainResource(), 1));
    EXPECT_FALSE(holdings.take(memory.getContentResource(), 1));
    EXPECT_EQ(
        failuresOf("named."),
        "Number of failed allocations for path named.outerContent named.innerContent "
        "globalContent: "
        "1\n"
        "Number of failed allocations for path named.outerMain named.innerMain globalMain: 1\n");
}

TEST(FilterMemory, RecordsAGlobalRefusalUnderAllFourNames) {
    GlobalMemory global(100);
    FilterMemory memory("global", std::nullopt, &global);
    Holdings holdings;
    ASSERT_TRUE(holdings.take(memory.getContentResource(), 99));
    EXPECT_FALSE(holdings.take(memory.getMainResource(), 2));
    EXPECT_EQ(failuresOf("global."),
              "Number of failed allocations for path global.outerMain global.innerMain globalMain "
              "global: "
              "1\n");
}

TEST(FilterMemory, WithoutLimitOnlyCounts) {
    GlobalMemory global(1'000'000);
    FilterMemory memory("f", std::nullopt, &global);
    EXPECT_EQ(memory.getMaxSize(), std::nullopt);
    EXPECT_EQ(memory.getRemainingSize(), std::nullopt);
    EXPECT_EQ(memory.getMainResource()->getRemainingSize(), std::nullopt);
    EXPECT_EQ(memory.getContentResource()->getRemainingSize(), std::nullopt);
    Holdings holdings;
    EXPECT_TRUE(holdings.take(memory.getMainResource(), 5000));
    EXPECT_EQ(memory.getAllocatedSize(), 5000U);
}

TEST(FilterMemory, MainStopsAtSeventyPercentWithNoContentHeld) {
    GlobalMemory global(1'000'000);
    FilterMemory memory("main", 1000, &global);
    Holdings holdings;
    EXPECT_TRUE(holdings.take(memory.getMainResource(), 700));
    EXPECT_FALSE(holdings.take(memory.getMainResource(), 1));
    EXPECT_EQ(failuresOf("main."), "Number of failed allocations for path main.outerMain: 1\n");
}

TEST(FilterMemory, ContentStopsAtNinetyNinePercentWithNoMainHeld) {
    GlobalMemory global(1'000'000);
    FilterMemory memory("content", 1000, &global);
    Holdings holdings;
    EXPECT_TRUE(holdings.take(memory.getContentResource(), 990));
    EXPECT_FALSE(holdings.take(memory.getContentResource(), 1));
    EXPECT_EQ(failuresOf("content."),
              "Number of failed allocations for path content.outerContent: 1\n");
}

TEST(FilterMemory, MainAndContentTogetherStopAtTheLimit) {
    GlobalMemory global(1'000'000);
    FilterMemory memory("both", 1000, &global);
    Holdings holdings;
    EXPECT_TRUE(holdings.take(memory.getMainResource(), 600));
    EXPECT_FALSE(holdings.take(memory.getContentResource(), 401));
    EXPECT_EQ(failuresOf("both."),
              "Number of failed allocations for path both.outerContent both.innerContent: 1\n");
    EXPECT_TRUE(holdings.take(memory.getContentResource(), 400));
}

TEST(FilterMemory, ReportsBothKindsAsHeldAndAsTakenFromTheLimit) {
    GlobalMemory global(1'000'000);
    FilterMemory memory("f", 1000, &global);
    EXPECT_EQ(memory.getMaxSize(), 1000U);
    EXPECT_EQ(memory.getRemainingSize(), 1000U);
    EXPECT_EQ(memory.getAllocatedSize(), 0U);
    {
        Holdings holdings;
        EXPECT_TRUE(holdings.take(memory.getMainResource(), 300));
        EXPECT_EQ(memory.getRemainingSize(), 700U);
        EXPECT_TRUE(holdings.take(memory.getContentResource(), 200));
        EXPECT_EQ(memory.getRemainingSize(), 500U);
        EXPECT_EQ(memory.getAllocatedSize(), 500U);
    }
    EXPECT_EQ(memory.getRemainingSize(), 1000U);
    EXPECT_EQ(memory.getAllocatedSize(), 0U);
    EXPECT_EQ(memory.getMaxSize(), 1000U);
}

TEST(FilterMemory, FiltersWithoutLimitsShareTheGlobalOnes) {
    GlobalMemory global(1000);
    FilterMemory one("one", std::nullopt, &global);
    FilterMemory two("two", std::nullopt, &global);
    Holdings holdings;
    EXPECT_TRUE(holdings.take(one.getMainResource(), 400));
    EXPECT_FALSE(holdings.take(two.getMainResource(), 301));
    EXPECT_TRUE(holdings.take(two.getMainResource(), 300));
}

TEST(FilterMemory, ContentWithoutFilterLimitStopsAtTheGlobalShare) {
    GlobalMemory global(1000);
    FilterMemory memory("f", std::nullopt, &global);
    Holdings holdings;
    EXPECT_FALSE(holdings.take(memory.getContentResource(), 991));
    EXPECT_TRUE(holdings.take(memory.getContentResource(), 990));
}

TEST(FilterMemory, GlobalLimitDecidesWhenItIsTheSmaller) {
    GlobalMemory global(1000);
    FilterMemory memory("f", 1'000'000, &global);
    Holdings holdings;
    EXPECT_FALSE(holdings.take(memory.getMainResource(), 701));
    EXPECT_TRUE(holdings.take(memory.getMainResource(), 700));
}

TEST(FilterMemory, TakesNothingFromTheGlobalBudgetBeforeItIsUsed) {
    GlobalMemory global(1000);
    const FilterMemory memory("f", 1000, &global);
    EXPECT_EQ(global.getCommonResource()->getAllocatedSize(), 0U);
    EXPECT_EQ(global.getCommonResource()->getRemainingSize(), 1000U);
}

TEST(FilterMemory, LimitBelowTwoBytesLeavesNoRoomAtAll) {
    GlobalMemory global(1000);
    FilterMemory memory("f", 1, &global);
    Holdings holdings;
    EXPECT_FALSE(holdings.take(memory.getMainResource(), 1));
    EXPECT_FALSE(holdings.take(memory.getContentResource(), 1));
}

TEST(FilterMemory, HeapFailureWhileItIsBuiltLeavesTheGlobalBudgetWhole) {
    GlobalMemory global(1000);
    const std::string name(100, 'f');
    std::size_t failing = 0;
    for (bool failed = true; failed; ++failing) {
        const HeapFault fault(failing);
        try {
            const FilterMemory memory(name, 1000, &global);
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(fault.hasFailed());
        }
        failed = fault.hasFailed();
    }
    EXPECT_GT(failing, 8U);
    EXPECT_EQ(global.getCommonResource()->getRemainingSize(), 1000U);
}

}  // namespace
}  // namespace Qdx::Backend
