// Who wants to know, on one active object, that which mailbox is gone.
#pragma once

#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

#include "ozo.h"

namespace Tessel {

// Works through the calling thread's mailbox; belongs to one thread.
class MailboxMonitors {
public:
    using Callback = std::function<void(std::uint32_t)>;

    // The number of the message that tells of a mailbox gone, kept for this purpose in every
    // mailbox that is watched: "TSLM".
    static constexpr std::uint32_t messageNumber = 0x54534C4D;

    // 0 on success; what ozo says if the thread has no mailbox.
    int add(std::uint32_t mailbox, Callback callback);

    // Calls everybody who asked for the mailbox that the message names.
    void handleGone(const ozo_msg& message);

    // Forgets everybody: the mailbox that would have been told is gone itself.
    void clear() { callbacks_.clear(); }

private:
    std::unordered_map<std::uint32_t, std::vector<Callback>> callbacks_;
};

}  // namespace Tessel
