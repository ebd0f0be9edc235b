// A process heap that runs out when a test says so.
#pragma once

#include <cstddef>

namespace Qdx::Test {

// While it lives, operator new of this thread fails once, at the allocation of the given number,
// counted from 0. One at a time per thread.
class HeapFault {
public:
    explicit HeapFault(std::size_t failing);
    ~HeapFault();

    HeapFault(const HeapFault&) = delete;
    HeapFault& operator=(const HeapFault&) = delete;

    bool hasFailed() const;

    // What this thread has taken so far. REQUIRES: !hasFailed().
    std::size_t allocations() const;

private:
    const std::size_t failing;
};

}  // namespace Qdx::Test
