// What goes on between a frontend and the collector before batches may flow.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "frontendMessages.hpp"
#include "ownMailbox.hpp"
#include "qdx/frontend/connection.hpp"

namespace Qdx::Frontend {

// Finds the collector, asks it for the protocol's revision, delivers the metadata, and starts over
// when the collector is gone. Nothing waits, nothing but onStateChange throws. Thread: the
// mailbox's.
class Handshake {
public:
    // An empty metaData message is not sent. The mailbox must outlive the object.
    Handshake(OwnMailbox& mailbox, V1::MessageBytes metaData, Clock::duration retryPeriod,
              std::function<void(State)> onStateChange);

    State state() const { return current; }
    // Batches may be sent to collector().
    bool isDone() const { return current == State::Connected && !metaDataDue; }
    // Its mailbox, unless seeking.
    std::uint32_t collector() const { return peer; }
    std::uint64_t connections() const { return confirmations; }

    // Takes a message that came.
    void handle(const ozo_msg* message);
    // Does what is due.
    void advance(Clock::time_point now);
    // When advance() is to be called without a message having come; none if only a message helps.
    std::optional<Clock::time_point> nextDeadline() const;

private:
    void seek();
    void ask();
    void deliverMetaData();
    void handleReply(const V1::ConnectionReply& reply);
    bool tellsThatCollectorIsGone(const ozo_msg* message) const;
    void change(State next);

    OwnMailbox& mailbox;
    V1::MessageBytes request;
    const V1::MessageBytes metaData;
    const Clock::duration retryPeriod;
    const std::function<void(State)> onStateChange;

    State current = State::Seeking;
    std::uint32_t peer = OZO_NO_MAILBOX;
    std::uint32_t requests = 0;  // the last one's procedure reference
    bool metaDataDue = false;
    std::uint64_t confirmations = 0;
    // When to seek, to ask again, or to try the metadata again. The clock's zero is at once, and
    // can still be subtracted from.
    Clock::time_point retryAt;
};

}  // namespace Qdx::Frontend
