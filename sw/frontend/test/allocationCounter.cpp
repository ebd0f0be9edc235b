#include "allocationCounter.hpp"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr auto none = std::numeric_limits<std::size_t>::max();

std::atomic<std::size_t> allocations = 0;
std::atomic<std::size_t> doomed = none;  // the number of the allocation that is to fail

}  // namespace

std::size_t allocationCount() {
    return allocations;
}

AllocationFault::AllocationFault(std::size_t failing) {
    doomed = allocations + failing;
}

AllocationFault::~AllocationFault() {
    doomed = none;
}

bool AllocationFault::hasFailed() const {
    return allocations > doomed;
}

void* operator new(std::size_t size) {
    if (allocations++ == doomed) {
        throw std::bad_alloc();
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
