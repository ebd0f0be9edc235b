// One connection between two mailboxes: frames both ways, and a queue for those that the peer is
// not ready to take.
#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <list>

#include "descriptor.hpp"
#include "message.hpp"

namespace Ozo {

// What waits for a peer that doesn't read is bounded, per peer. 4 MiB are 32 messages of the
// largest size, or 64 of the usual one: several seconds of a frontend's full batches. Small
// messages cost their bookkeeping more than their bytes, so their number is bounded too, at what
// keeps that under 4096 * ~64 bytes = 256 KiB. Reached: ozo_drops.queue_full.
inline constexpr std::size_t maxQueuedBytes = 32 * maxMessageSize;
inline constexpr std::size_t maxQueuedMessages = maxQueuedBytes / 1024;

// Bytes that the kernel may keep for the peer. The largest frame must fit, whatever the system's
// default is; the second half lets one travel while the next is written.
inline constexpr int kernelBufferSize = static_cast<int>(2 * maxFrameSize);

class MessageQueue {
public:
    bool empty() const { return messages.empty(); }
    std::size_t size() const { return messages.size(); }
    bool hasRoomFor(std::size_t messageSize) const {
        return messages.size() < maxQueuedMessages && bytes + messageSize <= maxQueuedBytes;
    }
    ozo_msg& front() { return *messages.front(); }
    // Throws std::bad_alloc, with the message still the caller's.
    void push(MessagePtr&& message);
    MessagePtr pop();

private:
    std::list<MessagePtr> messages;
    std::size_t bytes = 0;
};

// The process that connected the socket at the other end, or listens there, and its user, as the
// kernel knows them.
ucred credentialsOf(int connectedSocket);

// Nothing here blocks. Thread: the mailbox's own.
class Connection {
public:
    enum class Sent { yes, queued, noRoom, tooLarge, peerGone };
    enum class Read { nothing, message, end, noFrame };

    // The peer is OZO_NO_MAILBOX until the first frame tells who is there.
    Connection(Descriptor connectedSocket, std::uint64_t serialNumber, std::uint32_t peer);

    int descriptor() const { return socket.get(); }
    std::uint64_t serial() const { return ownSerial; }
    std::uint32_t peer() const { return peerMailbox; }
    void setPeer(std::uint32_t mailbox) { peerMailbox = mailbox; }
    uid_t peerUser() const { return credentials.uid; }
    // 0 if the kernel doesn't tell, as of a process in a namespace of its own.
    pid_t peerProcess() const { return credentials.pid; }

    // Behind what is queued already.
    Sent send(MessagePtr message);
    // Not behind what is queued: noRoom if anything is.
    Sent trySend(ozo_msg& message);
    // Sends what the peer takes now of the queue, and gives how many messages of it are lost
    // because the peer is gone.
    std::size_t flush();
    bool hasQueue() const { return !queue.empty(); }
    std::size_t queued() const { return queue.size(); }

    // The next frame of the peer. After end and noFrame nothing sensible comes any more. When
    // memory is out the frame stays where it is, as if there were nothing yet.
    Read read(MessagePtr& message);

    // Whether the peer opened it.
    bool wasAccepted = false;
    // When it last had its turn to be read, in turns of the mailbox.
    std::uint64_t lastTurn = 0;
    // Messages that are due when the connection ends.
    std::list<MessagePtr> watchers;

private:
    Sent write(ozo_msg& message);

    Descriptor socket;
    ucred credentials;
    std::uint64_t ownSerial;
    std::uint32_t peerMailbox;
    MessageQueue queue;
};

}  // namespace Ozo
