// Counts what the test program takes from operator new.
#pragma once

#include <cstddef>

// Allocations of all threads since the program began.
std::size_t allocationCount();
