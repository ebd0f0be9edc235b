// The frontend's own mailbox.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "ozo.h"

namespace Qdx::Frontend {

struct FreeMessage {
    void operator()(ozo_msg* message) const { ozo_free(message); }
};
using Message = std::unique_ptr<ozo_msg, FreeMessage>;

// Creates the thread's mailbox, and deletes it. Thread: that one.
class OwnMailbox {
public:
    // Throws std::system_error with errno's value.
    explicit OwnMailbox(const std::string& name);
    ~OwnMailbox();
    OwnMailbox(const OwnMailbox&) = delete;
    OwnMailbox& operator=(const OwnMailbox&) = delete;

    std::uint32_t id() const { return ownId; }
    int descriptor() const { return ozo_get_fd(); }

    // What waits; null if nothing does.
    Message receive() { return Message(ozo_receive(0)); }

    // Sends a copy of a whole message if it leaves at once: 0. Otherwise errno's value, as
    // ozo_try_send gives it; ENOMEM also if the copy can't be made.
    int trySend(std::span<const unsigned char> message, std::uint32_t to) noexcept;

private:
    const std::uint32_t ownId;
};

}  // namespace Qdx::Frontend
