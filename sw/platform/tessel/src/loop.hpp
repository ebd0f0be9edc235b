// The event loop of one active object.
#pragma once

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <functional>
#include <memory>

#include "mailboxMonitors.hpp"
#include "messageWatch.hpp"

namespace Tessel {

// What a thread of an active object runs, and what the services keep for that thread. post() and
// finish() may be called on any thread; everything else belongs to the loop's own thread.
class Loop : public std::enable_shared_from_this<Loop> {
public:
    using Function = std::function<void()>;

    // The loop of the calling thread; null on a thread that is no active object's.
    static Loop* current();

    // Throws std::system_error when the process is out of descriptors.
    Loop();

    // Serves the calling thread: body, then what comes, until finish().
    void run(Function body);

    // Has the function run on the loop's thread, after all that was posted before. A function that
    // comes after the end of run() is destroyed with the loop without having run.
    void post(Function function);

    // Ends run() once everything posted before is done. Messages, monitor callbacks and commands
    // stop at that point too.
    void finish();

    // No message, monitor callback or command is delivered on this loop from now on.
    void stopDelivery();
    bool delivers() const { return delivers_; }

    asio::io_context& io() { return io_; }
    MessageWatch& messages() { return messages_; }
    MailboxMonitors& monitors() { return monitors_; }

private:
    // Not told that one thread alone runs it: posts of that thread would then be overtaken by those
    // of others.
    asio::io_context io_;
    asio::executor_work_guard<asio::io_context::executor_type> work_;
    bool delivers_ = true;
    MessageWatch messages_;
    MailboxMonitors monitors_;
};

}  // namespace Tessel
