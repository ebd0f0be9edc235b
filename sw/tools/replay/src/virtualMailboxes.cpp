// The mailboxes of the present unit. Messages are made as always; they come from recordings and go
// to the listener.
#include <cstdio>
#include <string>

#include "message.hpp"
#include "ozo.h"
#include "virtualUnit.hpp"

using Replay::VirtualUnit;

namespace {

// Of the collector's mailbox, which is never read.
constexpr int noDescriptor = 0;

}  // namespace

uint32_t ozo_create_mailbox(const char* /*name*/, uint32_t /*flags*/) {
    return VirtualUnit::collectorMailbox;
}

int ozo_add_name(uint32_t /*mailbox*/, const char* /*name*/) {
    return 0;
}

int ozo_delete_mailbox(uint32_t /*mailbox*/) {
    return 0;
}

int ozo_get_fd(void) {
    return noDescriptor;
}

void ozo_send(ozo_msg* msg, uint32_t to, uint32_t /*from*/) {
    const Ozo::MessagePtr sent(msg);
    VirtualUnit::present().send(to, *sent);
}

int ozo_get_name(uint32_t mailbox, char* buffer, size_t size) {
    (void)std::snprintf(buffer, size, "sender %u", mailbox);
    return 0;
}

size_t ozo_get_max_size(void) {
    return VirtualUnit::present().header().maxMessageSize;
}
