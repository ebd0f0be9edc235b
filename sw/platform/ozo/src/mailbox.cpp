#include "mailbox.hpp"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "peerIdentity.hpp"

namespace Ozo {

namespace {

constexpr int socketType = SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC;
// How long a mailbox that is deleted waits for peers that read.
constexpr int lastFlushMs = 100;
// Peers accepted in one go, before those that are connected get their turn again.
constexpr int acceptsAtOnce = 16;
// How often a call whose time is up still looks for a message. One round may only accept a peer,
// the next reads what it sent; more than a few that bring nothing mean somebody who keeps knocking,
// and the caller should not pay for that.
constexpr int roundsAfterDeadline = 8;

// The system has no room for a connection now; that says nothing about the peer.
bool isLackOfRoom(int error) {
    return error == EAGAIN || error == EMFILE || error == ENFILE || error == ENOBUFS ||
           error == ENOMEM || error == ENOSPC;
}

bool isGone(int error) {
    return error == ECONNREFUSED || error == ENOENT;
}

// By value: the kernel's structure is packed, so that a reference into it may be misaligned.
std::uint64_t serialOf(const epoll_event& event) {
    return event.data.u64;
}

MessagePtr makeNotice(std::uint32_t messageNumber, std::uint32_t mailbox) {
    const std::uint32_t words[] = {messageNumber, mailbox};
    MessagePtr notice(ozo_alloc(sizeof words, messageNumber));
    if (notice != nullptr)
        std::memcpy(notice.get(), words, sizeof words);
    return notice;
}

}  // namespace

Mailbox::Mailbox(RunDirectory runDirectory) : directory(std::move(runDirectory)) {
    // Receiving takes no memory but for messages.
    servedProcesses.reserve(events.size());
}

std::unique_ptr<Mailbox> Mailbox::create(const std::string& name) {
    std::unique_ptr<Mailbox> mailbox(new Mailbox(RunDirectory::current()));
    const int error = mailbox->open(name);
    if (error == 0)
        return mailbox;
    mailbox.reset();
    errno = error;
    return nullptr;
}

int Mailbox::open(const std::string& name) {
    names.push_back(name);
    poller = Descriptor(::epoll_create1(EPOLL_CLOEXEC));
    if (!poller.isOpen())
        return errno;
    if (const int error = wakeUp.open(); error != 0)
        return error;
    if (const int error = watch(EPOLL_CTL_ADD, wakeUp.descriptor(), EPOLLIN, wakeUpEvent))
        return error;
    listener = Descriptor(::socket(AF_UNIX, socketType, 0));
    if (!listener.isOpen())
        return errno;
    if (const int error = watch(EPOLL_CTL_ADD, listener.get(), EPOLLIN, listenerEvent))
        return error;
    return directory.publish(listener.get(), name, ownId);
}

Mailbox::~Mailbox() {
    if (!isOwn())
        return;
    removeFiles();
    listener.close();
    wakeUp.close();
    sendRemains();
}

void Mailbox::removeFiles() {
    if (ownId == OZO_NO_MAILBOX)
        return;
    try {
        directory.remove(ownId, names);
    } catch (const std::bad_alloc&) {
        // What stays is known as dead as soon as the socket is closed, and gives way to the next
        // owner of the name.
    }
}

int Mailbox::addName(const std::string& name) {
    names.push_back(name);
    const int error = directory.addName(name, ownId);
    if (error != 0)
        names.pop_back();
    return error;
}

int Mailbox::monitor(std::uint32_t mailbox, std::uint32_t messageNumber) {
    if (mailbox == ownId)
        return EINVAL;
    std::list<MessagePtr> notice;
    notice.push_back(makeNotice(messageNumber, mailbox));
    if (notice.front() == nullptr)
        return ENOMEM;
    setSender(*notice.front(), ownId);
    int error = 0;
    Connection* const connection = connectionTo(mailbox, error);
    if (connection == nullptr && !isGone(error))
        return error;
    std::list<MessagePtr>& due = connection != nullptr ? connection->watchers : notices;
    due.splice(due.end(), notice);
    setWakeUp();
    return 0;
}

int Mailbox::watch(int operation, int descriptor, std::uint32_t eventMask, Serial serial) {
    epoll_event event{.events = eventMask, .data = {.u64 = serial}};
    return ::epoll_ctl(poller.get(), operation, descriptor, &event) == 0 ? 0 : errno;
}

// ---- Receiving

MessagePtr Mailbox::receive(int timeoutMs) {
    const Deadline deadline(timeoutMs);
    int roundsLeft = roundsAfterDeadline;
    while (true) {
        if (MessagePtr message = handleEvents())
            return message;
        if (deadline.remainingMs() == 0 && roundsLeft-- == 0)
            return nullptr;
        if (!waitForEvents(deadline))
            return nullptr;
    }
}

bool Mailbox::waitForEvents(const Deadline& deadline) {
    int found = -1;
    do {
        found = ::epoll_wait(poller.get(), events.data(), static_cast<int>(events.size()),
                             deadline.remainingMs());
    } while (found < 0 && errno == EINTR);
    nextEvent = 0;
    eventsEnd = found > 0 ? static_cast<std::size_t>(found) : 0;
    servedProcesses.clear();
    sortByTurns();
    return eventsEnd > 0;
}

// Those whose last turn is longest ago come first, what is no connection before all.
void Mailbox::sortByTurns() {
    const auto lastTurn = [this](const epoll_event& event) {
        const auto entry = connections.find(serialOf(event));
        return entry == connections.end() ? 0 : entry->second.lastTurn;
    };
    std::sort(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(eventsEnd),
              [lastTurn](const epoll_event& a, const epoll_event& b) {
                  return lastTurn(a) < lastTurn(b);
              });
}

// Of all that a process sends over any number of connections, one message is taken between two
// waits. The next wait finds the others again.
bool Mailbox::hadItsTurn(pid_t process) const {
    return std::find(servedProcesses.begin(), servedProcesses.end(), process) !=
           servedProcesses.end();
}

MessagePtr Mailbox::handleEvents() {
    while (nextEvent < eventsEnd) {
        if (MessagePtr message = handle(events[nextEvent++]))
            return message;
    }
    return nullptr;
}

MessagePtr Mailbox::handle(const epoll_event& event) {
    const Serial serial = serialOf(event);
    if (serial == wakeUpEvent)
        return takeLocal();
    if (serial == listenerEvent) {
        acceptPeers();
        return nullptr;
    }
    const auto found = connections.find(serial);
    return found == connections.end() ? nullptr : serve(found->second, event.events);
}

MessagePtr Mailbox::takeLocal() {
    pauseAccepting(false);
    MessagePtr message;
    if (!notices.empty()) {
        message = std::move(notices.front());
        notices.pop_front();
    } else if (!toSelf.empty()) {
        message = toSelf.pop();
    }
    setWakeUp();
    return message;
}

void Mailbox::setWakeUp() {
    if (!notices.empty() || !toSelf.empty())
        wakeUp.set(WakeUp::When::now);
    else
        wakeUp.set(acceptingPaused ? WakeUp::When::afterPause : WakeUp::When::never);
}

void Mailbox::acceptPeers() {
    for (int accepted = 0; accepted < acceptsAtOnce; ++accepted) {
        Descriptor socket(
            ::accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        int error = socket.isOpen() ? 0 : errno;
        if (error == EAGAIN)
            return;
        if (error == 0)
            admit(std::move(socket), error);
        if (isLackOfRoom(error)) {
            pauseAccepting(true);
            return;
        }
    }
}

void Mailbox::admit(Descriptor socket, int& error) {
    std::size_t& ofUser = acceptedFrom[credentialsOf(socket.get()).uid];
    if (ofUser >= maxConnectionsOfUser) {
        ++dropped.crowded_out;
        return;
    }
    if (Connection* const connection = addConnection(std::move(socket), OZO_NO_MAILBOX, error)) {
        connection->wasAccepted = true;
        ++ofUser;
    }
}

// Peers that cannot be accepted for want of descriptors stay in the backlog and lose nothing. The
// listening socket would meanwhile keep the mailbox readable, and its owner busy with nothing, so
// it is left out for a moment.
void Mailbox::pauseAccepting(bool pause) {
    if (pause == acceptingPaused)
        return;
    acceptingPaused = pause;
    watch(EPOLL_CTL_MOD, listener.get(), pause ? 0U : std::uint32_t{EPOLLIN}, listenerEvent);
    setWakeUp();
}

MessagePtr Mailbox::serve(Connection& connection, std::uint32_t eventMask) {
    if ((eventMask & EPOLLOUT) != 0)
        flush(connection);
    if ((eventMask & (EPOLLIN | EPOLLHUP | EPOLLERR)) == 0)
        return nullptr;
    if (hadItsTurn(connection.peerProcess()))
        return nullptr;
    connection.lastTurn = ++turns;
    MessagePtr message;
    Connection::Read read = connection.read(message);
    if (read == Connection::Read::nothing)
        return nullptr;
    if (read == Connection::Read::message) {
        if (isTrueSender(connection, ozo_sender(message.get()))) {
            countTurn(connection.peerProcess());
            return message;
        }
        read = Connection::Read::noFrame;
    }
    if (read == Connection::Read::noFrame)
        ++dropped.bad_peers;
    drop(connection);
    return nullptr;
}

// A process that the kernel doesn't name has as many turns as connections.
void Mailbox::countTurn(pid_t process) {
    if (process != 0)
        servedProcesses.push_back(process);
}

bool Mailbox::isTrueSender(Connection& connection, std::uint32_t sender) {
    if (connection.peer() != OZO_NO_MAILBOX)
        return sender == connection.peer();
    // What comes from the mailbox itself is made here, so that nobody else can imitate a notice of
    // the monitor.
    if (sender == ownId)
        return false;
    const Claim claim{.ownerOfMailbox = directory.ownerOf(sender),
                      .peerUser = connection.peerUser(),
                      .ownUser = ::geteuid()};
    if (!mayClaim(claim))
        return false;
    byPeer.try_emplace(sender, connection.serial());
    connection.setPeer(sender);
    return true;
}

// ---- Connections

Connection* Mailbox::connectionTo(std::uint32_t mailbox, int& error) {
    const auto found = byPeer.find(mailbox);
    return found == byPeer.end() ? openConnection(mailbox, error) : &connections.at(found->second);
}

Connection* Mailbox::openConnection(std::uint32_t mailbox, int& error) {
    Descriptor socket(::socket(AF_UNIX, socketType, 0));
    error = socket.isOpen() ? directory.connect(socket.get(), mailbox) : errno;
    return error == 0 ? addConnection(std::move(socket), mailbox, error) : nullptr;
}

Connection* Mailbox::addConnection(Descriptor socket, std::uint32_t peer, int& error) {
    const Serial serial = nextSerial++;
    Connection& connection =
        connections.try_emplace(serial, std::move(socket), serial, peer).first->second;
    error = watch(EPOLL_CTL_ADD, connection.descriptor(), EPOLLIN, serial);
    if (error != 0) {
        connections.erase(serial);
        return nullptr;
    }
    if (peer != OZO_NO_MAILBOX)
        byPeer.try_emplace(peer, serial);
    return &connection;
}

void Mailbox::drop(Connection& connection) {
    dropped.receiver_gone += connection.queued();
    notices.splice(notices.end(), connection.watchers);
    if (connection.wasAccepted)
        --acceptedFrom[connection.peerUser()];
    const auto found = byPeer.find(connection.peer());
    if (found != byPeer.end() && found->second == connection.serial())
        byPeer.erase(found);
    connections.erase(connection.serial());
    setWakeUp();
}

// ---- Sending

void Mailbox::send(MessagePtr message, std::uint32_t to, std::uint32_t from) {
    if (from != ownId && from != OZO_MY_MAILBOX) {
        ++dropped.wrong_sender;
        return;
    }
    if (ozo_size(message.get()) > ozo_get_max_size()) {
        ++dropped.too_large;
        return;
    }
    setSender(*message, ownId);
    try {
        deliver(std::move(message), to);
    } catch (const std::bad_alloc&) {
        ++dropped.queue_full;
    }
}

void Mailbox::deliver(MessagePtr message, std::uint32_t to) {
    if (to == ownId) {
        sendToSelf(std::move(message));
        return;
    }
    int error = 0;
    if (Connection* const connection = connectionTo(to, error))
        sendOver(*connection, std::move(message));
    else
        ++(isLackOfRoom(error) ? dropped.queue_full : dropped.receiver_gone);
}

void Mailbox::sendToSelf(MessagePtr message) {
    if (!toSelf.hasRoomFor(ozo_size(message.get()))) {
        ++dropped.queue_full;
        return;
    }
    toSelf.push(std::move(message));
    setWakeUp();
}

void Mailbox::sendOver(Connection& connection, MessagePtr message) {
    if (connection.hasQueue())
        flush(connection);
    const bool hadQueue = connection.hasQueue();
    switch (connection.send(std::move(message))) {
        case Connection::Sent::yes:
            break;
        case Connection::Sent::queued:
            if (!hadQueue)
                watchForRoom(connection);
            break;
        case Connection::Sent::noRoom:
            ++dropped.queue_full;
            break;
        case Connection::Sent::tooLarge:
            ++dropped.too_large;
            break;
        case Connection::Sent::peerGone:
            // The connection stays until what the peer sent before it went is read.
            ++dropped.receiver_gone;
            break;
    }
}

int Mailbox::trySend(MessagePtr& message, std::uint32_t to) {
    if (ozo_size(message.get()) > ozo_get_max_size())
        return EMSGSIZE;
    setSender(*message, ownId);
    if (to == ownId) {
        if (!toSelf.hasRoomFor(ozo_size(message.get())))
            return EAGAIN;
        toSelf.push(std::move(message));
        setWakeUp();
        return 0;
    }
    int error = 0;
    if (Connection* const connection = connectionTo(to, error))
        return trySendOver(*connection, message);
    if (isGone(error))
        return ECONNREFUSED;
    // A full backlog: unlike a full connection, nothing tells when it has room again.
    return error == EAGAIN ? ENOBUFS : error;
}

int Mailbox::trySendOver(Connection& connection, MessagePtr& message) {
    if (connection.hasQueue())
        flush(connection);
    switch (connection.trySend(*message)) {
        case Connection::Sent::yes:
            message.reset();
            return 0;
        case Connection::Sent::tooLarge:
            return EMSGSIZE;
        case Connection::Sent::peerGone:
            return ECONNREFUSED;
        default:
            watchForRoom(connection);
            return EAGAIN;
    }
}

void Mailbox::watchForRoom(const Connection& connection) {
    watch(EPOLL_CTL_MOD, connection.descriptor(), EPOLLIN | EPOLLOUT, connection.serial());
}

void Mailbox::flush(Connection& connection) {
    dropped.receiver_gone += connection.flush();
    if (!connection.hasQueue())
        watch(EPOLL_CTL_MOD, connection.descriptor(), EPOLLIN, connection.serial());
}

void Mailbox::sendRemains() {
    std::erase_if(connections, [](const auto& entry) { return !entry.second.hasQueue(); });
    for (const auto& [serial, connection] : connections)
        watch(EPOLL_CTL_MOD, connection.descriptor(), EPOLLOUT, serial);
    const Deadline deadline(lastFlushMs);
    while (!connections.empty() && waitForEvents(deadline)) {
        for (; nextEvent < eventsEnd; ++nextEvent) {
            const auto found = connections.find(serialOf(events[nextEvent]));
            if (found != connections.end()) {
                found->second.flush();
                if (!found->second.hasQueue())
                    connections.erase(found);
            }
        }
        if (deadline.remainingMs() == 0)
            return;
    }
}

}  // namespace Ozo
