#include "tessel/clock.hpp"

#include "observation.hpp"

namespace Tessel::Clock::V1 {

namespace {

class Clock final : public ClockIf {
public:
    std::chrono::steady_clock::time_point steadyNow() override {
        const auto now = std::chrono::steady_clock::now();
        observe([&](auto& observer) { observer.onSteadyClock(now); });
        return now;
    }

    std::chrono::system_clock::time_point wallNow() override {
        const auto now = std::chrono::system_clock::now();
        observe([&](auto& observer) { observer.onWallClock(now); });
        return now;
    }
};

}  // namespace

ClockIf& ClockIf::getInstance() {
    static Clock clock;
    return clock;
}

}  // namespace Tessel::Clock::V1
