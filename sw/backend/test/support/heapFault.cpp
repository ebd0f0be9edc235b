#include "heapFault.hpp"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Allocations that this thread may still make before one fails; 0 when the next fails.
thread_local std::size_t untilFailure = 0;
thread_local bool armed = false;
thread_local bool failed = false;

void* allocate(std::size_t size) {
    if (armed && !failed && untilFailure-- == 0) {
        failed = true;
        throw std::bad_alloc();
    }
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

// Wiped, so that whoever calls an object after its end meets no working table of functions.
void release(void* block, std::size_t size) {
    if (block != nullptr)
        explicit_bzero(block, size);
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}

void* operator new[](std::size_t size) {
    return allocate(size);
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete[](void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t size) noexcept {
    release(block, size);
}

void operator delete[](void* block, std::size_t size) noexcept {
    release(block, size);
}

namespace Qdx::Test {

HeapFault::HeapFault(std::size_t number) : failing(number) {
    untilFailure = number;
    failed = false;
    armed = true;
}

HeapFault::~HeapFault() {
    armed = false;
}

bool HeapFault::hasFailed() const {
    return failed;
}

std::size_t HeapFault::allocations() const {
    return failing - untilFailure;
}

}  // namespace Qdx::Test
