// The process that loads libraries and runs what they registered.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <vector>

#include "tessel/startup.hpp"

namespace Tessel::Host::V1 {

// Starts the participants and ends them so that no handler ever meets one that is gone, and no
// thread runs while the process's static objects go. A process has one, used on its main thread:
//
//     Host host;
//     dlopen(...);
//     host.startParticipants();
//     host.waitUntilStarted(patience);
//     ...until told to stop...
//     host.stopDelivery(patience);
//     host.releaseParticipants();
//     host.finish(patience);
//
// The waiting functions give false when their time is over: some active object is stuck, and the
// process can't end in good order.
class Host {
public:
    using Patience = std::chrono::milliseconds;

    // Creates and starts, in the order of registration, what registered since the last call; gives
    // their number; a factory that gives none is passed over. What a factory or start() throws
    // passes through, with those started before kept.
    std::size_t startParticipants();

    // Waits until every active object has run its function, so that what it offers is there.
    bool waitUntilStarted(Patience patience);

    // After this no active object, also none created later, gets a message, a monitor callback or a
    // command; a running handler is finished first. Posted functions still run.
    bool stopDelivery(Patience patience);

    // Releases the participants, the last one first.
    void releaseParticipants();

    // Forgets all commands and waits until all threads of active objects have ended.
    bool finish(Patience patience);

private:
    std::vector<std::shared_ptr<Startup::V1::StartupParticipantIf>> participants_;
};

}  // namespace Tessel::Host::V1
