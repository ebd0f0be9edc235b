#include "ownMailbox.hpp"

#include <cerrno>
#include <cstring>
#include <system_error>

namespace Qdx::Frontend {
namespace {

std::uint32_t create(const std::string& name) {
    const std::uint32_t mailbox = ozo_create_mailbox(name.c_str(), 0);
    if (mailbox == OZO_NO_MAILBOX) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot create the mailbox " + name);
    }
    return mailbox;
}

}  // namespace

OwnMailbox::OwnMailbox(const std::string& name) : ownId(create(name)) {}

OwnMailbox::~OwnMailbox() {
    ozo_delete_mailbox(ownId);
}

int OwnMailbox::trySend(std::span<const unsigned char> message, std::uint32_t to) noexcept {
    Message copy(ozo_alloc(message.size(), 0));
    if (copy == nullptr) {
        return ENOMEM;
    }
    std::memcpy(copy.get(), message.data(), message.size());
    if (ozo_try_send(copy.get(), to) != 0) {
        return errno;
    }
    (void)copy.release();
    return 0;
}

}  // namespace Qdx::Frontend
