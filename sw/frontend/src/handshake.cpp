#include "handshake.hpp"

#include <cstring>
#include <utility>

#include "bigEndian.hpp"
#include "saturatedTime.hpp"
#include "wireFormat.hpp"

namespace Qdx::Frontend {
namespace {

// The number of the message that tells that the collector is gone. Only this mailbox sends it.
constexpr std::uint32_t collectorGone = 1;

}  // namespace

Handshake::Handshake(OwnMailbox& ownMailbox, V1::MessageBytes metaDataMessage,
                     Clock::duration periodOfRetries, std::function<void(State)> observer)
    : mailbox(ownMailbox),
      request(V1::encodeConnectionRequest({}, {V1::protocolRevision})),
      metaData(std::move(metaDataMessage)),
      retryPeriod(periodOfRetries),
      onStateChange(std::move(observer)) {}

void Handshake::handle(const ozo_msg* message) {
    if (tellsThatCollectorIsGone(message)) {
        metaDataDue = false;
        retryAt = Clock::time_point();
        change(State::Seeking);
        return;
    }
    if (current != State::Asking || ozo_sender(message) != peer) {
        return;
    }
    // An answer to an earlier request that came late is as good as none: the later one will come
    // too.
    const auto reply = V1::decodeConnectionReply(V1::bytesOf(message));
    if (reply && reply->references.procedure == requests) {
        handleReply(*reply);
    }
}

void Handshake::advance(Clock::time_point now) {
    const bool retryDue = now >= retryAt;
    if (retryDue) {
        retryAt = later(now, retryPeriod);
    }
    if (retryDue && current == State::Seeking) {
        seek();
    }
    if (retryDue && current == State::Asking) {
        ask();
    }
    if (metaDataDue) {
        deliverMetaData();
    }
}

std::optional<Clock::time_point> Handshake::nextDeadline() const {
    const bool waits = current == State::Seeking || current == State::Asking || metaDataDue;
    return waits ? std::optional(retryAt) : std::nullopt;
}

void Handshake::seek() {
    const std::uint32_t found = ozo_locate_service(V1::collectorMailbox);
    if (found == OZO_NO_MAILBOX || ozo_monitor(found, collectorGone) != 0) {
        return;
    }
    peer = found;
    change(State::Asking);
}

void Handshake::ask() {
    V1::writeBigEndian32(++requests, &request[V1::procedureReferenceOffset]);
    // If it doesn't leave, it is like one that isn't answered.
    (void)mailbox.trySend(request, peer);
}

void Handshake::deliverMetaData() {
    metaDataDue = mailbox.trySend(metaData, peer) != 0;
}

void Handshake::handleReply(const V1::ConnectionReply& reply) {
    if (!reply.confirmed) {
        change(State::Refused);
        return;
    }
    ++confirmations;
    metaDataDue = !metaData.empty();
    change(State::Connected);
}

bool Handshake::tellsThatCollectorIsGone(const ozo_msg* message) const {
    const auto bytes = V1::bytesOf(message);
    std::uint32_t gone = OZO_NO_MAILBOX;
    if (message->msgno != collectorGone || ozo_sender(message) != mailbox.id() ||
        bytes.size() != sizeof(message->msgno) + sizeof(gone)) {
        return false;
    }
    std::memcpy(&gone, bytes.data() + sizeof(message->msgno), sizeof(gone));
    return current != State::Seeking && gone == peer;
}

void Handshake::change(State next) {
    current = next;
    if (onStateChange) {
        onStateChange(next);
    }
}

}  // namespace Qdx::Frontend
