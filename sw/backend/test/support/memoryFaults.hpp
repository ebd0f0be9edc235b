// Memory that runs out when a test says so.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <memory_resource>
#include <new>
#include <optional>
#include <stdexcept>

namespace Qdx::Test {

// The heap, until one allocation is told to fail; counts what is held.
class FailingResource : public std::pmr::memory_resource {
public:
    // Allocations are numbered from 0 on; without a number none fails.
    explicit FailingResource(std::optional<std::size_t> failing = {}) : failAt(failing) {}

    std::size_t held() const { return bytes; }
    std::size_t allocations() const { return count; }
    bool hasFailed() const { return failAt && count > *failAt; }

private:
    void* do_allocate(std::size_t size, std::size_t alignment) override {
        if (count++ == failAt)
            throw std::bad_alloc();
        void* block = std::pmr::new_delete_resource()->allocate(size, alignment);
        bytes += size;
        return block;
    }

    void do_deallocate(void* block, std::size_t size, std::size_t alignment) override {
        std::pmr::new_delete_resource()->deallocate(block, size, alignment);
        bytes -= size;
    }

    bool do_is_equal(const memory_resource& other) const noexcept override {
        return this == &other;
    }

    std::optional<std::size_t> failAt;
    std::size_t count = 0;
    std::size_t bytes = 0;
};

// The heap, unless it is told to fail, and then with an exception that is not std::bad_alloc.
class BrokenResource : public std::pmr::memory_resource {
public:
    void breakDown() { broken = true; }

private:
    void* do_allocate(std::size_t size, std::size_t alignment) override {
        if (broken)
            throw std::runtime_error("broken");
        return std::pmr::new_delete_resource()->allocate(size, alignment);
    }

    void do_deallocate(void* block, std::size_t size, std::size_t alignment) override {
        std::pmr::new_delete_resource()->deallocate(block, size, alignment);
    }

    bool do_is_equal(const memory_resource& other) const noexcept override {
        return this == &other;
    }

    bool broken = false;
};

// Runs body(FailingResource&) with allocation 0, 1, 2, ... failing until a run needs none of them,
// and checks after each run that everything was given back. Gives the number of runs that met a
// failure.
template <typename Body>
std::size_t sweepAllocations(Body body) {
    for (std::size_t failing = 0;; ++failing) {
        SCOPED_TRACE("failing allocation " + std::to_string(failing));
        FailingResource resource(failing);
        body(resource);
        EXPECT_EQ(resource.held(), 0U);
        if (!resource.hasFailed() || testing::Test::HasFailure())
            return failing;
    }
}

// Replaces the default resource for a scope. With the null resource it proves that a code path
// allocates nowhere but in the resources that it was given.
class DefaultResourceScope {
public:
    explicit DefaultResourceScope(std::pmr::memory_resource* resource)
        : previous(std::pmr::set_default_resource(resource)) {}
    ~DefaultResourceScope() { std::pmr::set_default_resource(previous); }

    DefaultResourceScope(const DefaultResourceScope&) = delete;
    DefaultResourceScope& operator=(const DefaultResourceScope&) = delete;

private:
    std::pmr::memory_resource* previous;
};

}  // namespace Qdx::Test
