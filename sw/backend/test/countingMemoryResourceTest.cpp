#include "countingMemoryResource.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "failureReport.hpp"
#include "heapFault.hpp"
#include "memoryFaults.hpp"

namespace Qdx::Backend {
namespace {

using Test::failuresOf;
using Test::HeapFault;

std::shared_ptr<unsigned long> counter(unsigned long bytes) {
    return std::make_shared<unsigned long>(bytes);
}

// Allocates for a scope.
class Block {
public:
    Block(CountingMemoryResource& owner, std::size_t bytes)
        : resource(owner), size(bytes), block(owner.allocate(bytes)) {}
    ~Block() { resource.deallocate(block, size); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

private:
    CountingMemoryResource& resource;
    std::size_t size;
    void* block;
};

void expectRefused(CountingMemoryResource& resource, std::size_t bytes) {
    EXPECT_THROW(Block(resource, bytes), std::bad_alloc);
}

TEST(CountingMemoryResource, StartsWithNothingCounted) {
    const CountingMemoryResource resource(std::pmr::new_delete_resource(), "r", counter(5));
    EXPECT_EQ(resource.getName(), "r");
    EXPECT_EQ(resource.getAllocatedSize(), 0U);
    EXPECT_EQ(resource.getMaxAllocatedSize(), 0U);
    EXPECT_EQ(resource.getRemainingSize(), 5U);
    EXPECT_EQ(resource.getNumFailures(), 0U);
}

TEST(CountingMemoryResource, WithoutLimitOnlyCounts) {
    CountingMemoryResource resource(std::pmr::new_delete_resource(), "r", nullptr);
    const Block block(resource, 1'000'000);
    EXPECT_EQ(resource.getAllocatedSize(), 1'000'000U);
    EXPECT_EQ(resource.getRemainingSize(), std::nullopt);
    EXPECT_EQ(resource.getNumFailures(), 0U);
}

TEST(CountingMemoryResource, AcceptsExactlyTheRemainingSizeAndThenOnlyNothing) {
    CountingMemoryResource resource(std::pmr::new_delete_resource(), "r", counter(100));
    const Block all(resource, 100);
    EXPECT_EQ(resource.getRemainingSize(), 0U);
    expectRefused(resource, 1);
    const Block nothing(resource, 0);
    EXPECT_EQ(resource.getAllocatedSize(), 100U);
}

TEST(CountingMemoryResource, RefusalLeavesEveryCountButTheFailures) {
    CountingMemoryResource resource(std::pmr::new_delete_resource(), "r", counter(100));
    const Block block(resource, 60);
    expectRefused(resource, 41);
    EXPECT_EQ(resource.getAllocatedSize(), 60U);
    EXPECT_EQ(resource.getMaxAllocatedSize(), 60U);
    EXPECT_EQ(resource.getRemainingSize(), 40U);
    EXPECT_EQ(resource.getNumFailures(), 1U);
}

TEST(CountingMemoryResource, DeallocationGivesTheBudgetBackAndKeepsTheMaximum) {
    CountingMemoryResource resource(std::pmr::new_delete_resource(), "r", counter(100));
    { const Block block(resource, 60); }
    const Block smaller(resource, 10);
    EXPECT_EQ(resource.getAllocatedSize(), 10U);
    EXPECT_EQ(resource.getRemainingSize(), 90U);
    EXPECT_EQ(resource.getMaxAllocatedSize(), 60U);
}

// Remembers what it was asked for.
class UpstreamSpy : public std::pmr::memory_resource {
public:
    struct Request {
        std::size_t bytes;
        std::size_t alignment;
        friend bool operator==(const Request&, const Request&) = default;
    };
    std::vector<Request> allocations;
    std::vector<Request> deallocations;

private:
    void* do_allocate(std::size_t bytes, std::size_t alignment) override {
        allocations.push_back({bytes, alignment});
        return std::pmr::new_delete_resource()->allocate(bytes, alignment);
    }
    void do_deallocate(void* block, std::size_t bytes, std::size_t alignment) override {
        deallocations.push_back({bytes, alignment});
        std::pmr::new_delete_resource()->deallocate(block, bytes, alignment);
    }
    bool do_is_equal(const memory_resource& other) const noexcept override {
        return this == &other;
    }
};

TEST(CountingMemoryResource, HandsSizeAndAlignmentOnUnchanged) {
    UpstreamSpy upstream;
    CountingMemoryResource resource(&upstream, "r", nullptr);
    void* block = resource.allocate(24, 64);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0U);
    resource.deallocate(block, 24, 64);
    EXPECT_THAT(upstream.allocations, testing::ElementsAre(UpstreamSpy::Request{24, 64}));
    EXPECT_THAT(upstream.deallocations, testing::ElementsAre(UpstreamSpy::Request{24, 64}));
    EXPECT_EQ(resource.getMaxAllocatedSize(), 24U);
}

TEST(CountingMemoryResource, SharersOfOneCounterDrawOnOneBudget) {
    const auto shared = counter(100);
    CountingMemoryResource one(std::pmr::new_delete_resource(), "one", shared);
    CountingMemoryResource two(std::pmr::new_delete_resource(), "two", shared);
    {
        const Block block(one, 70);
        EXPECT_EQ(two.getRemainingSize(), 30U);
        EXPECT_EQ(two.getAllocatedSize(), 0U);
        expectRefused(two, 31);
    }
    const Block block(two, 100);
    EXPECT_EQ(one.getRemainingSize(), 0U);
    EXPECT_EQ(one.getAllocatedSize(), 0U);
    EXPECT_EQ(two.getAllocatedSize(), 100U);
}

TEST(CountingMemoryResource, EndOfAResourceReleasesItsShareOfTheCounter) {
    auto shared = counter(100);
    const std::weak_ptr<unsigned long> watched = shared;
    {
        const CountingMemoryResource one(std::pmr::new_delete_resource(), "one", shared);
        {
            const CountingMemoryResource two(std::pmr::new_delete_resource(), "two",
                                             std::move(shared));
            EXPECT_EQ(watched.use_count(), 2);
        }
        EXPECT_EQ(one.getRemainingSize(), 100U);
        EXPECT_EQ(watched.use_count(), 1);
    }
    EXPECT_TRUE(watched.expired());
}

TEST(CountingMemoryResource, RefusalInAChainIsCountedOnlyWhereRefusedUnderTheWholePath) {
    CountingMemoryResource upstream(std::pmr::new_delete_resource(), "chain.up", counter(10));
    CountingMemoryResource downstream(&upstream, "chain.down", counter(100));
    expectRefused(downstream, 11);
    EXPECT_EQ(downstream.getNumFailures(), 0U);
    EXPECT_EQ(downstream.getRemainingSize(), 100U);
    EXPECT_EQ(downstream.getAllocatedSize(), 0U);
    EXPECT_EQ(downstream.getMaxAllocatedSize(), 0U);
    EXPECT_EQ(upstream.getNumFailures(), 1U);
    EXPECT_EQ(failuresOf("chain.down"),
              "Number of failed allocations for path chain.down chain.up: 1\n");
}

TEST(CountingMemoryResource, RefusalDownstreamNeverReachesTheUpstream) {
    UpstreamSpy heap;
    CountingMemoryResource downstream(&heap, "down", counter(10));
    expectRefused(downstream, 11);
    EXPECT_TRUE(heap.allocations.empty());
}

TEST(CountingMemoryResource, PathStartsAnewAfterSuccessAndAfterRefusal) {
    CountingMemoryResource resource(std::pmr::new_delete_resource(), "anew", counter(10));
    { const Block block(resource, 10); }
    expectRefused(resource, 11);
    expectRefused(resource, 11);
    EXPECT_EQ(failuresOf("anew"), "Number of failed allocations for path anew: 2\n");
}

TEST(CountingMemoryResource, FailureOfTheHeapPassesThroughUnrecorded) {
    CountingMemoryResource resource(std::pmr::null_memory_resource(), "heapless", counter(10));
    expectRefused(resource, 1);
    EXPECT_EQ(resource.getNumFailures(), 0U);
    EXPECT_EQ(resource.getRemainingSize(), 10U);
    EXPECT_EQ(failuresOf("heapless"), "");
    // The name is off the path again.
    expectRefused(resource, 11);
    EXPECT_EQ(failuresOf("heapless"), "Number of failed allocations for path heapless: 1\n");
}

TEST(CountingMemoryResource, SetRemainingSizeGivesALimitToOneWithout) {
    CountingMemoryResource limited(std::pmr::new_delete_resource(), "limited", nullptr);
    const CountingMemoryResource other(std::pmr::new_delete_resource(), "other", nullptr);
    limited.setRemainingSize(5);
    EXPECT_EQ(limited.getRemainingSize(), 5U);
    EXPECT_EQ(other.getRemainingSize(), std::nullopt);
    expectRefused(limited, 6);
}

TEST(CountingMemoryResource, SetRemainingSizeReachesAllSharers) {
    const auto shared = counter(100);
    CountingMemoryResource one(std::pmr::new_delete_resource(), "one", shared);
    const CountingMemoryResource two(std::pmr::new_delete_resource(), "two", shared);
    one.setRemainingSize(3);
    EXPECT_EQ(two.getRemainingSize(), 3U);
}

TEST(CountingMemoryResource, LimitBelowWhatIsHeldFreesNothingAndRefusesMore) {
    CountingMemoryResource resource(std::pmr::new_delete_resource(), "r", counter(100));
    const Block block(resource, 50);
    resource.setRemainingSize(0);
    EXPECT_EQ(resource.getAllocatedSize(), 50U);
    expectRefused(resource, 1);
}

TEST(CountingMemoryResource, ReportListsPathsInOrderAlsoOfResourcesThatAreGone) {
    {
        CountingMemoryResource late(std::pmr::new_delete_resource(), "gone f", counter(0));
        for (int i = 0; i < 3; ++i)
            expectRefused(late, 1);
    }
    CountingMemoryResource early(std::pmr::new_delete_resource(), "gone e", counter(0));
    expectRefused(early, 1);
    EXPECT_EQ(failuresOf("gone"),
              "Number of failed allocations for path gone e: 1\n"
              "Number of failed allocations for path gone f: 3\n");
}

TEST(CountingMemoryResource, ReportOrdersByNamesAndNotByTheJoinedText) {
    CountingMemoryResource heap(std::pmr::new_delete_resource(), "order z", counter(0));
    CountingMemoryResource one(&heap, "order", nullptr);
    CountingMemoryResource two(std::pmr::new_delete_resource(), "order\x01", counter(0));
    expectRefused(two, 1);
    expectRefused(one, 1);
    EXPECT_EQ(failuresOf("order"),
              "Number of failed allocations for path order order z: 1\n"
              "Number of failed allocations for path order\x01: 1\n");
}

TEST(CountingMemoryResource, ReportCountsInDecimalWhateverTheStreamIsSetTo) {
    CountingMemoryResource resource(std::pmr::new_delete_resource(), "decimal", counter(0));
    for (int i = 0; i < 26; ++i)
        expectRefused(resource, 1);
    std::ostringstream out;
    out << std::hex << std::showbase;
    CountingMemoryResource::debugAll(out);
    EXPECT_THAT(out.str(), testing::HasSubstr("for path decimal: 26\n"));
}

// Keeps what had been written at each flush.
class FlushSpy : public std::stringbuf {
public:
    std::vector<std::string> flushed;

private:
    int sync() override {
        flushed.push_back(str());
        return 0;
    }
};

TEST(CountingMemoryResource, ReportEndsEachLineWithAFlush) {
    for (const std::string name : {"flush one", "flush two"}) {
        CountingMemoryResource resource(std::pmr::new_delete_resource(), name, counter(0));
        expectRefused(resource, 1);
    }
    FlushSpy spy;
    std::ostream out(&spy);
    CountingMemoryResource::debugAll(out);
    const auto report = spy.str();
    std::vector<std::string> upToEachLine;
    for (auto end = report.find('\n'); end != std::string::npos; end = report.find('\n', end + 1))
        upToEachLine.push_back(report.substr(0, end + 1));
    EXPECT_GE(upToEachLine.size(), 2U);
    EXPECT_EQ(spy.flushed, upToEachLine);
}

TEST(CountingMemoryResource, WithoutFailuresReportsNothing) {
    // In a process that has refused nothing yet.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto report = [] {
        std::ostringstream out;
        CountingMemoryResource::debugAll(out);
        std::exit(out.str().empty() ? 0 : 1);
    };
    EXPECT_EXIT(report(), testing::ExitedWithCode(0), "");
}

TEST(CountingMemoryResource, IsEqualOnlyToItself) {
    const CountingMemoryResource one(std::pmr::new_delete_resource(), "r", nullptr);
    const CountingMemoryResource two(std::pmr::new_delete_resource(), "r", nullptr);
    EXPECT_TRUE(one.is_equal(one));
    EXPECT_FALSE(one.is_equal(two));
}

// Names past the small buffer need the heap on the path too.
std::string longName(const std::string& end) {
    return std::string(100, 'n') + end;
}

TEST(CountingMemoryResource, HeapFailureWhileNamingTheRequestIsAnAllocationFailure) {
    const auto name = longName("naming");
    CountingMemoryResource resource(std::pmr::null_memory_resource(), name, counter(10));
    for (std::size_t failing = 0; failing < 2; ++failing) {
        const HeapFault fault(failing);
        EXPECT_THROW(static_cast<void>(resource.allocate(11)), std::bad_alloc);
        EXPECT_TRUE(fault.hasFailed());
    }
    EXPECT_EQ(failuresOf(name), "");
    expectRefused(resource, 11);
    EXPECT_EQ(failuresOf(name), "Number of failed allocations for path " + name + ": 1\n");
}

TEST(CountingMemoryResource, HeapFailureWhileRecordingARefusalLeavesThePathClean) {
    bool failed = true;
    for (std::size_t failing = 0; failed; ++failing) {
        const auto name = longName(std::to_string(failing));
        const auto line = "Number of failed allocations for path " + name + ": 1\n";
        CountingMemoryResource resource(std::pmr::null_memory_resource(), name, counter(10));
        {
            const HeapFault fault(failing);
            EXPECT_THROW(static_cast<void>(resource.allocate(11)), std::bad_alloc);
            failed = fault.hasFailed();
        }
        EXPECT_EQ(failuresOf(name), failed ? "" : line);
        EXPECT_EQ(resource.getRemainingSize(), 10U);
        if (failed)
            expectRefused(resource, 11);
        EXPECT_EQ(failuresOf(name), line);
    }
}

}  // namespace
}  // namespace Qdx::Backend
