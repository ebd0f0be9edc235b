// The signals that end or stop a program, for one that has to put things right first.
#pragma once

#include "eventDescriptor.hpp"

namespace Qdxview {

// While it lives, SIGINT, SIGTERM, SIGHUP and SIGQUIT don't end the process, and SIGTSTP doesn't
// stop it: they are kept, and raise the event. One at a time in a process.
class Signals {
public:
    // The event must outlive the object.
    explicit Signals(const EventDescriptor& event);
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    // The latest that is to end the process; 0 for none.
    static int end();

    // Whether the process is to stop, since the last call.
    static bool takeStop();
};

// Stops the process until it is continued. REQUIRES: a Signals.
void stop();

// Ends the process as the signal does where nobody handles it, so that its parent sees why.
void endBy(int signal);

}  // namespace Qdxview
