// Mailboxes that tests send with and receive in.
#pragma once

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>

#include "ozo.h"
#include "support/await.hpp"
#include "tessel/ozoMessageSubscription.hpp"

namespace TestSupport {

// Two words: number and value.
inline void sendValue(std::uint32_t to, std::uint32_t number, std::uint32_t value) {
    ozo_msg* const message = ozo_alloc(sizeof(ozo_msg) + sizeof value, number);
    std::memcpy(message + 1, &value, sizeof value);
    ozo_send(message, to, OZO_MY_MAILBOX);
}

inline std::uint32_t valueOf(const ozo_msg& message) {
    std::uint32_t value = 0;
    std::memcpy(&value, &message + 1, sizeof value);
    return value;
}

// The calling thread's mailbox for the time of a scope.
class Mailbox {
public:
    explicit Mailbox(const std::string& name) : id(ozo_create_mailbox(name.c_str(), 0)) {
        if (id == OZO_NO_MAILBOX) {
            throw std::runtime_error("no mailbox " + name);
        }
    }
    ~Mailbox() { ozo_delete_mailbox(id); }
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    const std::uint32_t id;
};

// An active object whose mailbox is watched.
class Receiver {
public:
    explicit Receiver(const std::string& name = "Receiver")
        : object(makeActiveObject()), id(on(*object, [name] { return open(name); })) {}

    static std::uint32_t open(const std::string& name) {
        const auto mailbox = ozo_create_mailbox(name.c_str(), 0);
        return service().addMailbox(ozo_get_fd()) == 0 ? mailbox : OZO_NO_MAILBOX;
    }

    static Tessel::OzoMessageSubscription::V1::OzoMessageSubscriptionIf& service() {
        return Tessel::OzoMessageSubscription::V1::OzoMessageSubscriptionIf::getInstance();
    }

    int handle(
        std::uint32_t number,
        const Tessel::OzoMessageSubscription::V1::OzoMessageSubscriptionIf::Handler& handler) {
        return on(*object, [number, handler] { return service().addHandler(number, handler); });
    }

    // The values of the messages of that number go to the record, which must outlive this.
    int collect(std::uint32_t number, Record<std::uint32_t>& record) {
        return handle(number, [&record](const std::shared_ptr<ozo_msg>& message) {
            record.add(valueOf(*message));
        });
    }

    const std::shared_ptr<ActiveObjectIf> object;
    const std::uint32_t id;
};

}  // namespace TestSupport
