// The active objects of the process whose threads run.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "thread.hpp"

namespace Tessel {

class Loop;

// Knows every loop from before its thread starts until that thread's last act, for the sake of what
// concerns them all: starting up, stopping, waiting for the end. Never destroyed, since threads may
// outlast main(). Any thread may call; the functions that wait must not be called on an active
// object.
class LiveLoops {
public:
    using Deadline = std::chrono::steady_clock::time_point;

    static LiveLoops& instance();

    // Names a loop for the other operations. An address wouldn't do: it may be given out again
    // while its thread still ends.
    using Ticket = std::uint64_t;

    Ticket add(const std::shared_ptr<Loop>& loop);
    void remove(Ticket ticket);

    // Takes over the thread of an active object that was released on it; such a thread can't join
    // itself.
    void park(Ticket ticket, Thread thread);
    // Joins the parked threads that have ended.
    void joinParked();

    // Waits until every loop that lives now has done what was posted to it before, its body first
    // of all. False at the deadline.
    bool settle(Deadline deadline);
    // No loop, also none to come, delivers anything after this; what is being handled is finished
    // first. False at the deadline.
    bool stopDelivery(Deadline deadline);
    // Waits until all threads have ended. False at the deadline.
    bool waitForEnd(Deadline deadline);

private:
    bool runOnEach(const std::function<void(Loop&)>& function, Deadline deadline);

    std::mutex mutex_;
    std::condition_variable ended_;
    std::map<Ticket, std::weak_ptr<Loop>> loops_;
    std::map<Ticket, Thread> parked_;
    Ticket nextTicket_ = 0;
    bool deliveryStopped_ = false;
};

}  // namespace Tessel
