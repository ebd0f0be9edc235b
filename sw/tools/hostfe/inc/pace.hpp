// Something that is done now and then, within something that is done more often.
#pragma once

#include <chrono>
#include <optional>

namespace HostFe {

// Due at first, then once a period. One thread.
class Pace {
public:
    using Clock = std::chrono::steady_clock;

    explicit Pace(Clock::duration time) : period(time) {}

    // True if it is time again, which then counts as done. Whoever asks once a period is a little
    // early as often as late, so a twentieth of the period is given for free.
    bool isDue(Clock::time_point now) {
        if (last && now - *last < period - period / 20) {
            return false;
        }
        last = now;
        return true;
    }

private:
    const Clock::duration period;
    std::optional<Clock::time_point> last;
};

}  // namespace HostFe
