#include "connection.hpp"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace Ozo {

void MessageQueue::push(MessagePtr&& message) {
    const std::size_t size = ozo_size(message.get());
    messages.push_back(std::move(message));
    bytes += size;
}

MessagePtr MessageQueue::pop() {
    MessagePtr message = std::move(messages.front());
    messages.pop_front();
    bytes -= ozo_size(message.get());
    return message;
}

ucred credentialsOf(int connectedSocket) {
    ucred credentials{.pid = 0, .uid = static_cast<uid_t>(-1), .gid = static_cast<gid_t>(-1)};
    socklen_t size = sizeof credentials;
    ::getsockopt(connectedSocket, SOL_SOCKET, SO_PEERCRED, &credentials, &size);
    return credentials;
}

Connection::Connection(Descriptor connectedSocket, std::uint64_t serialNumber, std::uint32_t peer)
    : socket(std::move(connectedSocket)),
      credentials(credentialsOf(socket.get())),
      ownSerial(serialNumber),
      peerMailbox(peer) {
    // Best effort: the system's usual default holds the largest frame as well.
    ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDBUF, &kernelBufferSize, sizeof kernelBufferSize);
}

Connection::Sent Connection::send(MessagePtr message) {
    Sent sent = trySend(*message);
    if (sent == Sent::noRoom && queue.hasRoomFor(ozo_size(message.get()))) {
        queue.push(std::move(message));
        sent = Sent::queued;
    }
    return sent;
}

Connection::Sent Connection::trySend(ozo_msg& message) {
    return queue.empty() ? write(message) : Sent::noRoom;
}

std::size_t Connection::flush() {
    std::size_t lost = 0;
    while (!queue.empty()) {
        const Sent sent = write(queue.front());
        if (sent == Sent::noRoom)
            break;
        queue.pop();
        if (sent != Sent::yes)
            ++lost;
    }
    return lost;
}

Connection::Sent Connection::write(ozo_msg& message) {
    const auto frame = frameOf(message);
    if (::send(socket.get(), frame.data(), frame.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0)
        return Sent::yes;
    switch (errno) {
        case EAGAIN:
        case EINTR:
        case ENOBUFS:
        case ENOMEM:
            return Sent::noRoom;
        case EMSGSIZE:
            return Sent::tooLarge;
        default:
            return Sent::peerGone;
    }
}

// The kernel is asked for the size first, so that a message takes the memory it needs and no copy
// is made.
Connection::Read Connection::read(MessagePtr& message) {
    ssize_t size = ::recv(socket.get(), nullptr, 0, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
    // A peer that goes with frames of ours unread leaves an error, told once, in front of the
    // frames that it had sent before.
    if (size < 0 && errno == ECONNRESET)
        size = ::recv(socket.get(), nullptr, 0, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
    if (size < 0)
        return errno == EAGAIN || errno == EINTR || errno == ENOMEM ? Read::nothing : Read::end;
    if (size == 0)
        return Read::end;
    const auto sizeUntrusted = static_cast<std::size_t>(size);
    if (!isFrameSize(sizeUntrusted))
        return Read::noFrame;
    message = makeMessage(sizeUntrusted - sizeof(FrameHeader));
    if (message == nullptr)
        return Read::nothing;
    const auto frame = frameOf(*message);
    if (::recv(socket.get(), frame.data(), frame.size(), MSG_DONTWAIT) != size)
        return Read::noFrame;
    return decodeFrame(frame) ? Read::message : Read::noFrame;
}

}  // namespace Ozo
