// Makes a mailbox's descriptor readable without a peer's doing: at once, or after a pause.
#pragma once

#include "descriptor.hpp"

namespace Ozo {

// A timer in the mailbox's epoll set. Thread: the mailbox's own.
class WakeUp {
public:
    enum class When { never, now, afterPause };
    static constexpr long pauseMs = 100;

    // 0 or errno's value.
    int open();

    int descriptor() const { return timer.get(); }
    // Stays readable until it is set to something else. Costs a system call only if it changes
    // something.
    void set(When when);
    void close() { timer.close(); }

private:
    Descriptor timer;
    When setTo = When::never;
};

}  // namespace Ozo
