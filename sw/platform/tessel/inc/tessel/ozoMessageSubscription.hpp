// Delivery of mailbox messages to handlers by message number.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "ozo.h"

namespace Tessel::OzoMessageSubscription::V1 {

// Both operations work for the calling thread, which must be an active object's: its handlers run
// there, one message at a time, with posted functions let in between. A message without a handler
// is freed and counted, and so is one that there is no memory to hand over. An exception that
// leaves a handler ends the process: guard them.
//
// A handler or a posted function may delete the mailbox; once it has returned, another mailbox of
// the thread can be added and meets the same handlers.
class OzoMessageSubscriptionIf {
public:
    using Handler = std::function<void(const std::shared_ptr<ozo_msg>&)>;

    static OzoMessageSubscriptionIf& getInstance();

    // Delivers the messages of the calling thread's mailbox, whose descriptor this is. 0 on
    // success; nonzero on a thread without an active object, for a bad descriptor, or when the
    // thread's mailbox is watched already.
    virtual int addMailbox(int fd) = 0;

    // Has the handler called for each message of that number. The message is freed with its last
    // reference. 0 on success; nonzero on a thread without an active object, for an empty handler,
    // or when the number has a handler on this thread already.
    virtual int addHandler(std::uint32_t messageNumber, Handler handler) = 0;

    // Messages that came to the calling thread and were handed to nobody.
    virtual std::uint64_t getUnhandled() const = 0;

    virtual ~OzoMessageSubscriptionIf() = default;
};

}  // namespace Tessel::OzoMessageSubscription::V1
