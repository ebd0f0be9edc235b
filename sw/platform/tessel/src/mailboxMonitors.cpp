#include "mailboxMonitors.hpp"

#include <cstring>
#include <utility>

#include "observation.hpp"

namespace Tessel {

namespace {

// The news comes from the thread's own mailbox, so that no peer can make it up.
bool isFromOwnMailbox(const ozo_msg& message) {
    return ozo_sender(&message) == ozo_get_mailbox();
}

}  // namespace

int MailboxMonitors::add(std::uint32_t mailbox, Callback callback) {
    if (callbacks_.find(mailbox) == callbacks_.end()) {
        if (const int refusal = ozo_monitor(mailbox, messageNumber); refusal != 0) {
            return refusal;
        }
    }
    callbacks_[mailbox].push_back(std::move(callback));
    return 0;
}

void MailboxMonitors::handleGone(const ozo_msg& message) {
    std::uint32_t mailbox = 0;
    if (ozo_size(&message) < sizeof message + sizeof mailbox || !isFromOwnMailbox(message)) {
        return;
    }
    std::memcpy(&mailbox, &message + 1, sizeof mailbox);
    // Taken out first: a callback may ask for the same mailbox again.
    const auto asked = callbacks_.extract(mailbox);
    if (asked.empty()) {
        return;
    }
    observe([&](auto& observer) { observer.onMailboxGone(mailbox); });
    for (const auto& callback : asked.mapped()) {
        callback(mailbox);
    }
}

}  // namespace Tessel
