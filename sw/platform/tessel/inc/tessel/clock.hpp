// The clocks, as participants read them.
#pragma once

#include <chrono>

namespace Tessel::Clock::V1 {

// A participant that reads the time here, and nowhere else, can be recorded with the times that it
// saw and be run again at those times. Any thread may call.
class ClockIf {
public:
    static ClockIf& getInstance();

    virtual std::chrono::steady_clock::time_point steadyNow() = 0;
    virtual std::chrono::system_clock::time_point wallNow() = 0;

    virtual ~ClockIf() = default;
};

}  // namespace Tessel::Clock::V1
