// Threads with room on their stack, whatever limits the process has.
#pragma once

#include <pthread.h>

#include <functional>
#include <optional>

namespace Tessel {

// As std::thread, but with a stack of at least 8 MiB: the usual one has the size that a limit of
// the process happens to have, and what runs on active objects may go deep, such as matching a long
// line with a regular expression.
class Thread {
public:
    Thread() = default;
    // Throws std::system_error when the process can have no further thread.
    explicit Thread(std::function<void()> body);
    Thread(Thread&& other) noexcept;
    Thread& operator=(Thread&& other) noexcept;
    // REQUIRES: !joinable(), as of the one that is assigned to.
    ~Thread();

    bool joinable() const { return handle_.has_value(); }
    bool isCurrent() const;
    void join();

private:
    std::optional<pthread_t> handle_;
};

}  // namespace Tessel
