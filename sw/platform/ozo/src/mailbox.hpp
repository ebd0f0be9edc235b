// A thread's mailbox: its socket, its connections and what waits in it.
#pragma once

#include <sys/epoll.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "connection.hpp"
#include "deadline.hpp"
#include "descriptor.hpp"
#include "message.hpp"
#include "ozo.h"
#include "runDirectory.hpp"
#include "wakeUp.hpp"

namespace Ozo {

// A user's frontends and clients need one connection each; a quarter of a process's usual 1024
// descriptors. Reached: ozo_drops.crowded_out.
inline constexpr std::size_t maxConnectionsOfUser = 256;

// Messages to a peer go over the first connection that the two mailboxes have, opened by whoever
// spoke first, and stay on it; so they keep their order. If both open one at the same moment there
// are two, and each side stays on its own.
//
// Everything that may happen to the mailbox is in one epoll set: the listening socket, the wake-up
// for messages that come without a peer, and the connections. Receiving takes one message from each
// process that has one ready, in turn, so that a busy peer starves nobody, with one connection no
// more than with hundreds. Events name connections by a serial number that is never used again: one
// that is gone by then is simply not found.
//
// Of the connections that others open, each user can have so many: what one user does, also with
// connections on which nothing ever comes, can't take descriptors and turns from another.
//
// Operations give 0 or errno's value. Thread: the one that created it, and after a fork only in the
// parent.
class Mailbox {
public:
    // Null on failure; errno says why.
    static std::unique_ptr<Mailbox> create(const std::string& name);
    // Removes the names, and gives peers that read a moment for what still waits for them.
    ~Mailbox();
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    std::uint32_t id() const { return ownId; }
    int pollDescriptor() const { return poller.get(); }
    const ozo_drops& drops() const { return dropped; }
    // False in a process forked from the mailbox's own.
    bool isOwn() const { return listener.isOpen(); }

    int addName(const std::string& name);
    // What cannot be sent is dropped and counted, also what is not from this mailbox, by its id or
    // OZO_MY_MAILBOX.
    void send(MessagePtr message, std::uint32_t to, std::uint32_t from);
    // Takes the message only if it leaves now.
    int trySend(MessagePtr& message, std::uint32_t to);
    MessagePtr receive(int timeoutMs);
    int monitor(std::uint32_t mailbox, std::uint32_t messageNumber);

private:
    using Serial = std::uint64_t;
    static constexpr Serial listenerEvent = 0;
    static constexpr Serial wakeUpEvent = 1;
    static constexpr Serial firstConnection = 2;

    explicit Mailbox(RunDirectory runDirectory);
    int open(const std::string& name);
    void removeFiles();

    int watch(int operation, int descriptor, std::uint32_t eventMask, Serial serial);
    bool waitForEvents(const Deadline& deadline);
    void sortByTurns();
    bool hadItsTurn(pid_t process) const;
    void countTurn(pid_t process);
    MessagePtr handleEvents();
    MessagePtr handle(const epoll_event& event);

    void acceptPeers();
    void admit(Descriptor socket, int& error);
    void pauseAccepting(bool pause);
    MessagePtr takeLocal();
    void setWakeUp();

    Connection* connectionTo(std::uint32_t mailbox, int& error);
    Connection* openConnection(std::uint32_t mailbox, int& error);
    Connection* addConnection(Descriptor socket, std::uint32_t peer, int& error);
    void drop(Connection& connection);

    MessagePtr serve(Connection& connection, std::uint32_t eventMask);
    bool isTrueSender(Connection& connection, std::uint32_t sender);

    void deliver(MessagePtr message, std::uint32_t to);
    void sendToSelf(MessagePtr message);
    void sendOver(Connection& connection, MessagePtr message);
    int trySendOver(Connection& connection, MessagePtr& message);
    void flush(Connection& connection);
    void watchForRoom(const Connection& connection);
    void sendRemains();

    RunDirectory directory;
    std::uint32_t ownId = OZO_NO_MAILBOX;
    std::vector<std::string> names;
    ozo_drops dropped{};

    Descriptor poller;
    Descriptor listener;
    WakeUp wakeUp;
    bool acceptingPaused = false;

    std::unordered_map<Serial, Connection> connections;
    std::unordered_map<std::uint32_t, Serial> byPeer;
    std::unordered_map<uid_t, std::size_t> acceptedFrom;
    std::uint64_t turns = 0;
    std::vector<pid_t> servedProcesses;  // since the last wait
    Serial nextSerial = firstConnection;

    // Messages to oneself are bounded like those to a peer; notices of the monitor by the calls
    // that asked for them.
    MessageQueue toSelf;
    std::list<MessagePtr> notices;

    // What the last wait found; from nextEvent on it is still to be handled.
    std::array<epoll_event, 64> events{};
    std::size_t eventsEnd = 0;
    std::size_t nextEvent = 0;
};

}  // namespace Ozo
