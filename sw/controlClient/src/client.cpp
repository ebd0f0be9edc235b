#include "control/client.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

namespace Qdx::Control {

namespace {

// In the protocol's range of numbers and none of them. It comes from the own mailbox only.
constexpr std::uint32_t serverGone = 0x01707BFF;
// Messages handled in one go, before the caller's loop gets its turn again.
constexpr int messagesAtOnce = 64;

ClientOptions completed(ClientOptions options) {
    if (options.mailboxName.empty()) {
        options.mailboxName = "ControlClient." + std::to_string(gettid());
    }
    options.largestMessage = std::min(options.largestMessage, ozo_get_max_size());
    return options;
}

std::string reasonOf(int error) {
    return std::generic_category().message(error);
}

}  // namespace

Client::Client() : Client(ClientOptions()) {}

Client::Client(ClientOptions theOptions)
    : options(completed(std::move(theOptions))),
      mailbox(options.mailbox),
      session(
          options, [this](std::span<const unsigned char> frame) { send(frame); },
          [] { return std::chrono::steady_clock::now(); }) {}

Client::~Client() {
    leaveMailbox();
}

// A borrowed one stays.
void Client::leaveMailbox() {
    if (options.mailbox == OZO_NO_MAILBOX && mailbox != OZO_NO_MAILBOX) {
        ozo_delete_mailbox(mailbox);
        mailbox = OZO_NO_MAILBOX;
    }
}

int Client::descriptor() const {
    return mailbox != OZO_NO_MAILBOX ? ozo_get_fd() : -1;
}

void Client::connect(const Done& done) {
    if (isBusy() || isConnected()) {
        session.connect(done);
        return;
    }
    if (std::exchange(mayHoldAConnection, false)) {
        leaveMailbox();
    }
    if (!ensureMailbox()) {
        done({Outcome::SystemFailure,
              "cannot create the mailbox " + options.mailboxName + ": " + reasonOf(errno)});
        return;
    }
    server = ozo_locate_service(options.serverName.c_str());
    if (server == OZO_NO_MAILBOX) {
        done({Outcome::NoCollector, "there is no collector: nobody has the mailbox " +
                                        options.serverName + ", or it may not be seen"});
        return;
    }
    session.connect([this, done](const Result& result) {
        mayHoldAConnection = result.outcome == Outcome::TimedOut;
        done(result);
    });
    // After the request: both then go over one connection, which keeps their order.
    if (ozo_monitor(server, serverGone) != 0) {
        session.disconnect(
            {Outcome::SystemFailure, "cannot watch the collector's mailbox: " + reasonOf(errno)});
    }
}

bool Client::ensureMailbox() {
    if (mailbox == OZO_NO_MAILBOX) {
        mailbox = ozo_create_mailbox(options.mailboxName.c_str(), 0);
    }
    return mailbox != OZO_NO_MAILBOX;
}

void Client::onReadable() {
    for (int handled = 0; handled < messagesAtOnce; ++handled) {
        const std::unique_ptr<ozo_msg, decltype(&ozo_free)> message(ozo_receive(0), &ozo_free);
        if (!message) {
            return;
        }
        take(message.get());
    }
}

bool Client::take(const ozo_msg* message) {
    if (tellsThatServerIsGone(message)) {
        server = OZO_NO_MAILBOX;
        session.disconnect({Outcome::CollectorGone, "the collector is gone"});
        return true;
    }
    return server != OZO_NO_MAILBOX && ozo_sender(message) == server &&
           session.take({reinterpret_cast<const unsigned char*>(message), ozo_size(message)});
}

bool Client::tellsThatServerIsGone(const ozo_msg* message) const {
    std::uint32_t words[2] = {};
    if (message->msgno != serverGone || ozo_sender(message) != mailbox ||
        ozo_size(message) != sizeof(words)) {
        return false;
    }
    std::memcpy(words, message, sizeof(words));
    return server != OZO_NO_MAILBOX && words[1] == server;
}

void Client::send(std::span<const unsigned char> frame) const {
    std::uint32_t number = 0;
    std::memcpy(&number, frame.data(), sizeof(number));
    // Without memory nothing goes out, and the deadline tells.
    if (auto* message = ozo_alloc(frame.size(), number)) {
        std::memcpy(message, frame.data(), frame.size());
        ozo_send(message, server, OZO_MY_MAILBOX);
    }
}

}  // namespace Qdx::Control
