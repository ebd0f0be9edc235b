// 64-bit arithmetic that wraps where the signed operators would be undefined: sums of sample values
// may overflow, and results are defined all the same.
#pragma once

#include <chrono>
#include <cstdint>

#include "outputEncoderIf.hpp"

namespace Qdx::Backend::Wrapping {

inline std::int64_t add(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

inline std::int64_t subtract(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

inline std::int64_t multiply(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

// Toward zero; 0 for a divisor of 0.
inline std::int64_t divide(std::int64_t a, std::int64_t b) {
    if (b == 0)
        return 0;
    // The lowest value divided by -1 would trap.
    if (b == -1)
        return subtract(0, a);
    return a / b;
}

// Nanoseconds of a period.
inline std::int64_t nanoseconds(std::chrono::seconds period) {
    return multiply(period.count(), 1'000'000'000);
}

// Nanoseconds from one time to another.
inline std::int64_t elapsed(time_point from, time_point to) {
    return subtract(to.time_since_epoch().count(), from.time_since_epoch().count());
}

inline time_point later(time_point time, std::int64_t nanoseconds) {
    return time_point(time_point::duration(add(time.time_since_epoch().count(), nanoseconds)));
}

}  // namespace Qdx::Backend::Wrapping
