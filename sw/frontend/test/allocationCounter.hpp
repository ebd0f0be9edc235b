// Counts what the test program takes from operator new, and has it fail.
#pragma once

#include <cstddef>

// Allocations of all threads since the program began.
std::size_t allocationCount();

// While it lives, the allocation of the given number, counted from its construction and from 0,
// fails. One at a time, on one thread.
class AllocationFault {
public:
    explicit AllocationFault(std::size_t failing);
    ~AllocationFault();

    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    bool hasFailed() const;
};
