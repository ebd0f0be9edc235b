// Has the mailboxes of the test program refuse memory for messages. The program is to be linked
// with -Wl,--wrap=ozo_alloc.
#pragma once

namespace Qdx::Frontend {

// While it lives, ozo_alloc() gives null on the thread that made it. One at a time.
class MessageFault {
public:
    MessageFault();
    ~MessageFault();
    MessageFault(const MessageFault&) = delete;
    MessageFault& operator=(const MessageFault&) = delete;
};

}  // namespace Qdx::Frontend
