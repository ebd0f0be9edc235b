// Who is told of all that reaches the participants of the process.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "ozo.h"

namespace Tessel::Host::V1 {

// Told on the active object that is concerned, right before that gets the thing, so in the order in
// which it handles them; of several active objects, all at a time. What is told is valid during the
// call. An observer makes its active object wait and must not throw.
class ObserverIf {
public:
    // A message that has a handler.
    virtual void onMessage(const ozo_msg& message) = 0;
    // A mailbox that somebody asked about.
    virtual void onMailboxGone(std::uint32_t mailbox) = 0;
    virtual void onCommand(const std::vector<std::string>& words) = 0;
    // What a participant read of a clock of the unit.
    virtual void onSteadyClock(std::chrono::steady_clock::time_point time) = 0;
    virtual void onWallClock(std::chrono::system_clock::time_point time) = 0;

    virtual ~ObserverIf() = default;
};

// Null for none, as at first. To be called while there is no active object; the observer must
// outlive all that are created later.
void setObserver(ObserverIf* observer);

}  // namespace Tessel::Host::V1
