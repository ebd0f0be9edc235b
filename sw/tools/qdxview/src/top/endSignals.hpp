// The signals that ask a program to end, for one that has to put things right first.
#pragma once

#include "eventDescriptor.hpp"

namespace Qdxview {

// While it lives, SIGINT, SIGTERM, SIGHUP and SIGQUIT don't end the process but are kept, and raise
// the event. One at a time in a process.
class EndSignals {
public:
    // The event must outlive the object.
    explicit EndSignals(const EventDescriptor& event);
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    // The latest one that came; 0 for none.
    static int come();
};

// Ends the process as the signal does where nobody handles it, so that its parent sees why.
void endBy(int signal);

}  // namespace Qdxview
