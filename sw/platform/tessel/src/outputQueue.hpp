// Bytes on their way from a command's thread to the thread that serves its client.
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace Tessel {

// The command never waits for the client: what the client hasn't taken yet is held here, up to a
// limit. Any thread may call.
class OutputQueue {
public:
    struct Batch {
        std::string bytes;
        bool ended = false;  // nothing comes after these bytes
    };

    // wake is called, on the writer's thread, when there is something to take after there was
    // nothing.
    OutputQueue(std::size_t limit, std::function<void()> wake);

    // Adds the two pieces as one. False, and nothing is added, once the reader is gone or the limit
    // was reached.
    bool append(std::string_view head, std::string_view body);
    void end();

    Batch take();
    // Bytes are missing from here on: the reader is better cut off.
    bool overrun() const;
    // The reader wants no more.
    void close();

private:
    const std::size_t limit_;
    const std::function<void()> wake_;
    mutable std::mutex mutex_;
    Batch batch_;
    bool woken_ = false;
    bool overrun_ = false;
    bool closed_ = false;
};

}  // namespace Tessel
