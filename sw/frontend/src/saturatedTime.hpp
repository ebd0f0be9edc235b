// Times that a caller's "never" must not carry past the end of the clock.
#pragma once

#include "qdx/frontend/connection.hpp"

namespace Qdx::Frontend {

// The time that long after another one, or the last that there is. REQUIRES: time is not before the
// clock's zero.
inline Clock::time_point later(Clock::time_point time, Clock::duration wait) {
    return wait > Clock::time_point::max() - time ? Clock::time_point::max() : time + wait;
}

}  // namespace Qdx::Frontend
