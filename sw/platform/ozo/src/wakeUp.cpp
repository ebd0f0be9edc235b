#include "wakeUp.hpp"

#include <sys/timerfd.h>

#include <cerrno>

namespace Ozo {

namespace {

itimerspec durationUntil(WakeUp::When when) {
    itimerspec duration{};  // zero disarms
    if (when == WakeUp::When::now)
        duration.it_value.tv_nsec = 1;
    else if (when == WakeUp::When::afterPause)
        duration.it_value.tv_nsec = WakeUp::pauseMs * 1'000'000;
    return duration;
}

}  // namespace

int WakeUp::open() {
    timer = Descriptor(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
    return timer.isOpen() ? 0 : errno;
}

void WakeUp::set(When when) {
    if (when == setTo)
        return;
    const itimerspec duration = durationUntil(when);
    ::timerfd_settime(timer.get(), 0, &duration, nullptr);
    setTo = when;
}

}  // namespace Ozo
