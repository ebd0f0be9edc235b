#include "collectorLink.hpp"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "wireFormat.hpp"

namespace HostFe {
namespace {

constexpr char ownName[] = "HostFrontend";
// The number of the message that tells that the collector is gone. Only this process sends it.
constexpr std::uint32_t collectorGone = 1;

void say(const std::string& text) {
    std::cerr << "hostfe: " + text + "\n";
}

std::uint32_t createMailbox() {
    const std::uint32_t mailbox = ozo_create_mailbox(ownName, 0);
    if (mailbox == OZO_NO_MAILBOX) {
        const std::string reason = errno == EADDRINUSE
                                       ? "another hostfe runs on this unit"
                                       : std::generic_category().message(errno) +
                                             "; is $UNIT_ROOT/run there, and may it be written?";
        throw std::runtime_error("cannot create the mailbox " + std::string(ownName) + ": " +
                                 reason);
    }
    return mailbox;
}

}  // namespace

CollectorLink::CollectorLink(Qdx::RadioMetaData hostMetaData)
    : metaData(std::move(hostMetaData)), mailbox(createMailbox()) {}

CollectorLink::~CollectorLink() {
    ozo_delete_mailbox(mailbox);
}

int CollectorLink::descriptor() const {
    return ozo_get_fd();
}

void CollectorLink::seek(Clock::time_point now) {
    if (state == State::Seeking) {
        find(now);
    } else if (state == State::Asking && now - askedAt >= answerTime) {
        ask(now);
    }
}

void CollectorLink::receive() {
    while (ozo_msg* received = ozo_receive(0)) {
        const std::unique_ptr<ozo_msg, decltype(&ozo_free)> message(received, &ozo_free);
        handle(message.get());
    }
}

void CollectorLink::send(const Qdx::V1::MessageBytes& message) const {
    ozo_send(Qdx::V1::toOzoMessage(message), collector, OZO_MY_MAILBOX);
}

void CollectorLink::find(Clock::time_point now) {
    collector = ozo_locate(Qdx::V1::collectorMailbox);
    if (collector == OZO_NO_MAILBOX) {
        if (!std::exchange(saidThatItWaits, true)) {
            say("waiting for the collector");
        }
        return;
    }
    if (ozo_monitor(collector, collectorGone) != 0) {
        return;
    }
    state = State::Asking;
    ask(now);
}

void CollectorLink::ask(Clock::time_point now) {
    askedAt = now;
    ++requests;
    send(Qdx::V1::encodeConnectionRequest({.procedure = requests}, {Qdx::V1::protocolRevision}));
}

void CollectorLink::handle(const ozo_msg* message) {
    if (tellsThatCollectorIsGone(message)) {
        say("the collector is gone");
        state = State::Seeking;
        saidThatItWaits = false;
        return;
    }
    if (state != State::Asking || ozo_sender(message) != collector) {
        return;
    }
    // An answer to an earlier request that came late is as good as none: the later one will come
    // too.
    const auto reply = Qdx::V1::decodeConnectionReply(Qdx::V1::bytesOf(message));
    if (reply && reply->references.procedure == requests) {
        handleReply(*reply);
    }
}

void CollectorLink::handleReply(const Qdx::V1::ConnectionReply& reply) {
    if (!reply.confirmed) {
        say("the collector doesn't know revision " + std::to_string(Qdx::V1::protocolRevision) +
            " of the protocol; waiting for another one");
        state = State::Refused;
        return;
    }
    say("connected to the collector");
    state = State::Connected;
    send(Qdx::V1::encodeMetaData({.procedure = requests}, metaData));
}

bool CollectorLink::tellsThatCollectorIsGone(const ozo_msg* message) const {
    const auto bytes = Qdx::V1::bytesOf(message);
    std::uint32_t gone = OZO_NO_MAILBOX;
    if (message->msgno != collectorGone || ozo_sender(message) != mailbox ||
        bytes.size() != sizeof(message->msgno) + sizeof(gone)) {
        return false;
    }
    std::memcpy(&gone, bytes.data() + sizeof(message->msgno), sizeof(gone));
    return state != State::Seeking && gone == collector;
}

}  // namespace HostFe
