// The memory below a budget, with a book of every block that is out.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <map>
#include <memory_resource>
#include <new>
#include <optional>

#include "outage.hpp"

namespace Qdx::Test {

// The C heap for containers and blocks that must not show as heap of what is under test.
template <typename T>
struct MallocAllocator {
    using value_type = T;
    MallocAllocator() = default;
    template <typename U>
    explicit MallocAllocator(const MallocAllocator<U>& /*other*/) {}

    T* allocate(std::size_t count) {
        if (void* block = std::malloc(count * sizeof(T)))
            return static_cast<T*>(block);
        throw std::bad_alloc();
    }
    void deallocate(T* block, std::size_t /*count*/) { std::free(block); }
    friend bool operator==(const MallocAllocator&, const MallocAllocator&) { return true; }
};

// Passes requests on to the next resource until it is told to fail, wipes what comes back, and
// fails the running test when a block comes back that isn't out, or with another size or alignment
// than it was taken with, and when a block is still out at the end.
//
//     BlockLedger memory;
//     DefaultResourceScope scope(&memory);
//     GlobalMemory global(1000);       // draws on the ledger from now on
//     memory.failFrom(2, Outage::Once);
class BlockLedger : public std::pmr::memory_resource {
public:
    explicit BlockLedger(std::pmr::memory_resource* next = std::pmr::new_delete_resource())
        : upstream(next) {}
    ~BlockLedger() override;
    BlockLedger(const BlockLedger&) = delete;
    BlockLedger& operator=(const BlockLedger&) = delete;

    std::size_t held() const { return bytesHeld; }
    std::size_t maxHeld() const { return maxBytesHeld; }
    std::size_t allocations() const { return allocationCount; }
    std::size_t deallocations() const { return deallocationCount; }

    // Allocations are numbered from now on, from 0.
    void failFrom(std::size_t number, Outage outage);
    void recover() { untilFailure.reset(); }
    // Since the last failFrom.
    bool hasFailed() const { return failed; }

protected:
    // What a derived class wants to see; all before the books change.
    virtual void allocating(std::size_t /*bytes*/) {}
    virtual void allocated(void* /*block*/, std::size_t /*bytes*/) {}
    virtual void deallocating(void* /*block*/, std::size_t /*bytes*/) {}

private:
    struct Block {
        std::size_t bytes;
        std::size_t alignment;
    };

    bool mustFail();
    void* do_allocate(std::size_t bytes, std::size_t alignment) override;
    void do_deallocate(void* block, std::size_t bytes, std::size_t alignment) override;
    bool do_is_equal(const memory_resource& other) const noexcept override {
        return this == &other;
    }

    std::pmr::memory_resource* upstream;
    std::map<void*, Block, std::less<>, MallocAllocator<std::pair<void* const, Block>>> blocks;
    std::size_t bytesHeld = 0;
    std::size_t maxBytesHeld = 0;
    std::size_t allocationCount = 0;
    std::size_t deallocationCount = 0;
    std::optional<std::size_t> untilFailure;
    bool failed = false;
    bool lasting = false;
};

}  // namespace Qdx::Test
