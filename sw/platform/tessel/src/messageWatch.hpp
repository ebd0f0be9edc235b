// The mailbox of an active object: watched, and its messages handed to handlers.
#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "ozo.h"

namespace Tessel {

// Belongs to one thread. The descriptor stays ozo's: it is watched and let go, never closed here.
class MessageWatch {
public:
    using Handler = std::function<void(const std::shared_ptr<ozo_msg>&)>;

    // mailboxGone is called when the watched mailbox turns out to be deleted; what was asked of it
    // is lost then.
    MessageWatch(asio::io_context& io, std::function<void()> mailboxGone);
    ~MessageWatch();
    MessageWatch(const MessageWatch&) = delete;
    MessageWatch& operator=(const MessageWatch&) = delete;

    // 0 on success; nonzero if fd isn't the descriptor of the thread's mailbox or is watched
    // already.
    int watch(int fd);
    // 0 on success; nonzero for an empty handler or a number that has one.
    int addHandler(std::uint32_t number, Handler handler);

    bool watching() const { return descriptor_.is_open(); }
    std::uint64_t unhandled() const { return unhandled_; }

    // To be called after everything that may have deleted the thread's mailbox: the descriptor must
    // not stay watched when its number is given out again.
    void endIfMailboxGone();
    // Delivers nothing more; messages wait in the mailbox until it is deleted.
    void stop();

private:
    // The handler stands behind a pointer because it may add others while it runs.
    struct Entry {
        std::uint32_t number;
        std::unique_ptr<const Handler> handler;
    };

    std::vector<Entry>::iterator findSlot(std::uint32_t number);
    void awaitMessages();
    void deliverBurst();
    void deliver(const std::shared_ptr<ozo_msg>& message);
    void letGo();

    const std::function<void()> mailboxGone_;
    asio::posix::stream_descriptor descriptor_;
    unsigned watches_ = 0;  // tells a wait for an earlier mailbox from that for the present one
    std::vector<Entry> handlers_;  // by number
    bool stopped_ = false;
    std::uint64_t unhandled_ = 0;
};

}  // namespace Tessel
