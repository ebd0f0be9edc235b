// A process heap that runs out when a test says so.
#pragma once

#include <cstddef>

#include "outage.hpp"

namespace Qdx::Test {

// While it lives, operator new of this thread fails at the allocation of the given number, counted
// from 0: once, or from then on. One at a time per thread.
class HeapFault {
public:
    explicit HeapFault(std::size_t failing, Outage outage = Outage::Once);
    ~HeapFault();

    HeapFault(const HeapFault&) = delete;
    HeapFault& operator=(const HeapFault&) = delete;

    bool hasFailed() const;

    // What this thread has taken so far. REQUIRES: !hasFailed().
    std::size_t allocations() const;

private:
    const std::size_t failing;
};

// What this thread has taken from operator new and not yet given back.
struct HeapUse {
    long blocks;
    long bytes;  // as the heap rounds them
};

HeapUse heapUse();

}  // namespace Qdx::Test
