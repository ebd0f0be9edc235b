// A client of the collector's control server for programs with an event loop:
//
//     Client client;
//     client.connect([](const Result& result) { ... });
//     // while client.descriptor() is readable:   client.onReadable();
//     // when client.deadline() has come:         client.onDeadline();
//
// Programs that may wait take blockingClient.hpp.
//
// Mailbox: a thread has one. Without further words the client makes the calling thread's at the
// first connect() and deletes it at its end, with which the server frees the connection: there is
// no message that does. Where the thread has a mailbox already, ClientOptions::mailbox names it.
// Then it stays after the client, and so does the connection; who receives on it hands messages to
// take() instead of calling onReadable().
//
// The collector's end is told by the message service's monitor. After it, and after any other end
// of a connection, connect() may be called again. A connect() that timed out may have left a
// connection at the server, which goes with the mailbox: so the next connect() makes a new one,
// with another descriptor(), unless the mailbox is borrowed.
//
// Thread: all calls come from the thread of the mailbox. The client has none of its own. What
// holds for calls of Sink and Done, session.hpp says.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "control/session.hpp"
#include "ozo.h"

namespace Qdx::Control {

struct ClientOptions : Options {
    std::string mailboxName;                    // to create; empty for one that nobody else has
    std::uint32_t mailbox = OZO_NO_MAILBOX;     // to borrow
    std::string serverName = "QdxFilterCtrlI";  // to look for
};

class Client {
public:
    Client();
    explicit Client(ClientOptions options);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // Readable while messages wait. -1 before the first connect() if the mailbox is the client's.
    int descriptor() const;
    std::optional<Session::Time> deadline() const { return session.deadline(); }

    // Handles waiting messages, a bounded number of them, and frees those of others.
    void onReadable();
    void onDeadline() { session.checkDeadline(); }
    // True if the message, which stays the caller's, was one for control clients.
    bool take(const ozo_msg* message);

    bool isConnected() const { return session.isConnected(); }
    bool isBusy() const { return session.isBusy(); }
    // REQUIRES: isConnected().
    std::uint32_t connectionReference() const { return session.connectionReference(); }
    std::uint32_t revision() const { return session.revision(); }

    // See session.hpp.
    void connect(const Done& done);
    void exchangeCapabilities(const Done& done) { session.exchangeCapabilities(done); }
    void pull(const PullRequest& request, const Sink& sink, const Done& done) {
        session.pull(request, sink, done);
    }

private:
    bool ensureMailbox();
    void leaveMailbox();
    void send(std::span<const unsigned char> frame) const;
    bool tellsThatServerIsGone(const ozo_msg* message) const;

    const ClientOptions options;
    std::uint32_t mailbox;
    bool mayHoldAConnection = false;  // of which the server told too late
    std::uint32_t server = OZO_NO_MAILBOX;
    Session session;
};

}  // namespace Qdx::Control
