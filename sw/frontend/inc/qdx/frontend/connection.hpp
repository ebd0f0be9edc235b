// A frontend's way to the collector of its unit.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "qdx/frontend/metaData.hpp"
#include "qdx/frontend/statistics.hpp"

namespace Qdx::Frontend {

using Clock = std::chrono::steady_clock;

class Sender;

//     Seeking --found--> Asking --confirmed--> Connected
//        ^                 '------rejected---> Refused
//        '--- the collector's mailbox is gone, from each of the other three
enum class State {
    Seeking,    // no collector is there
    Asking,     // one is, and has yet to answer
    Connected,  // batches leave
    Refused,    // it doesn't speak this revision of the protocol; waits for another collector
};

struct Options {
    // How many batches may wait while the collector is slow or away; at least 1. The memory for
    // them is taken once: this many times the largest message (64 KiB, unless the unit sets
    // another).
    std::size_t queuedBatches = 16;

    // A batch that is not full is sent when its first sample is that old.
    Clock::duration batchAge = std::chrono::milliseconds(100);

    // How often a collector is looked for, and how long one may take to answer before it is asked
    // again.
    Clock::duration retryPeriod = std::chrono::milliseconds(500);

    // Called by poll() and what waits, at each change; what it throws comes out of them.
    std::function<void(State)> onStateChange = nullptr;
};

// Finds the collector, agrees on the protocol's revision, delivers the metadata, and starts over
// when the collector has restarted. Samples are added through the handles of handles.hpp; they
// gather in a batch, which is sent when it is full or old.
//
//     Connection connection("MyFrontend", {.hwName = "radio"});
//     Measurement temperature(connection, "radio:temperature", "rfBranch=1");
//     while (running) {
//         temperature.add(readTemperature());
//         connection.serveUntil(nextReading);
//     }
//
// In an event loop, call poll() when descriptor() is readable and when nextDeadline() has come.
//
// What it promises:
//   - nothing but serveUntil() and drain() ever waits; adding a sample allocates nothing, sending
//     takes memory for one message and puts up with there being none;
//   - a batch that doesn't leave waits; when more wait than Options allow, the oldest is dropped
//   and
//     counted by cause;
//   - a dropped counter increment goes into the next sample of its counter, so that totals stay
//     right (modulo 2 to the 64th) as long as the counter goes on.
// What it doesn't: a batch that the collector's mailbox took is lost if the collector ends before
// it reads it. Nobody confirms batches.
//
// One thread: the one that constructs it, for all of its functions, those of its handles, and its
// end. It creates and owns that thread's mailbox, of which a thread can have one.
class Connection {
public:
    // Throws std::system_error if the mailbox can't be created, with errno's value as its code:
    // EADDRINUSE if another frontend of the unit has the name, EALREADY if the thread has a
    // mailbox. Throws std::length_error if the metadata don't fit into a message; std::bad_alloc.
    explicit Connection(const std::string& mailboxName, const MetaData& metaData = {},
                        Options options = {});
    // Sends what leaves without waiting; drops the rest. Handles must not be used any more.
    ~Connection();
    Connection(Connection&&) noexcept;
    Connection& operator=(Connection&&) noexcept;

    State state() const;
    Statistics statistics() const;
    // Batches that wait, the one that gathers samples not included.
    std::size_t waitingBatches() const;

    // Readable when poll() has something to do. Changes with the connection only.
    int descriptor() const;
    // The latest time at which poll() must be called though nothing was readable; none if there is
    // nothing to wait for.
    std::optional<Clock::time_point> nextDeadline() const;
    // Handles what came in, looks for the collector, sends what is due. Never waits.
    void poll(Clock::time_point now = Clock::now());

    // Sends all that was added, as far as it leaves without waiting; true if it all did.
    bool flush();

    // For frontends without an event loop: serves the connection until then, instead of a sleep.
    // Comes back early if a signal was handled.
    void serveUntil(Clock::time_point end);
    // Sends all that was added, and waits for the collector to take it, but not longer than that.
    // True if it all left.
    bool drain(Clock::duration patience);

private:
    friend class Measurement;
    friend class Counter;
    friend class Record;

    std::unique_ptr<Sender> sender;
};

}  // namespace Qdx::Frontend
