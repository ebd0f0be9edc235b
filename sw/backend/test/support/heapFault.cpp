#include "heapFault.hpp"

#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Allocations that this thread may still make before one fails; 0 when the next fails.
thread_local std::size_t untilFailure = 0;
thread_local bool armed = false;
thread_local bool failed = false;
thread_local bool lasting = false;
thread_local Qdx::Test::HeapUse use{};

bool mustFail() {
    if (!armed)
        return false;
    if (failed)
        return lasting;
    failed = untilFailure-- == 0;
    return failed;
}

void* counted(void* block) {
    if (block == nullptr)
        throw std::bad_alloc();
    ++use.blocks;
    use.bytes += static_cast<long>(malloc_usable_size(block));
    return block;
}

void* allocate(std::size_t size) {
    if (mustFail())
        throw std::bad_alloc();
    return counted(std::malloc(size == 0 ? 1 : size));
}

void* allocate(std::size_t size, std::align_val_t alignmentValue) {
    if (mustFail())
        throw std::bad_alloc();
    const auto alignment = static_cast<std::size_t>(alignmentValue);
    const auto wholeUnits = (size + alignment - 1) / alignment;
    return counted(std::aligned_alloc(alignment, (wholeUnits == 0 ? 1 : wholeUnits) * alignment));
}

void release(void* block) {
    if (block != nullptr) {
        --use.blocks;
        use.bytes -= static_cast<long>(malloc_usable_size(block));
    }
    std::free(block);
}

// Wiped, so that whoever calls an object after its end meets no working table of functions.
void release(void* block, std::size_t size) {
    if (block != nullptr)
        explicit_bzero(block, size);
    release(block);
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}

void* operator new[](std::size_t size) {
    return allocate(size);
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocate(size, alignment);
}

void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocate(size, alignment);
}

void operator delete(void* block) noexcept {
    release(block);
}

void operator delete[](void* block) noexcept {
    release(block);
}

void operator delete(void* block, std::size_t size) noexcept {
    release(block, size);
}

void operator delete[](void* block, std::size_t size) noexcept {
    release(block, size);
}

void operator delete(void* block, std::align_val_t /*alignment*/) noexcept {
    release(block);
}

void operator delete[](void* block, std::align_val_t /*alignment*/) noexcept {
    release(block);
}

void operator delete(void* block, std::size_t size, std::align_val_t /*alignment*/) noexcept {
    release(block, size);
}

void operator delete[](void* block, std::size_t size, std::align_val_t /*alignment*/) noexcept {
    release(block, size);
}

namespace Qdx::Test {

HeapFault::HeapFault(std::size_t number, Outage outage) : failing(number) {
    untilFailure = number;
    failed = false;
    lasting = outage == Outage::Lasting;
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

HeapUse heapUse() {
    return use;
}

}  // namespace Qdx::Test
