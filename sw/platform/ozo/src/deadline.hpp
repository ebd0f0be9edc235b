// A point in time up to which something may wait.
#pragma once

#include <algorithm>
#include <chrono>

namespace Ozo {

class Deadline {
public:
    // timeoutMs from now; -1 is never.
    explicit Deadline(int timeoutMs)
        : never(timeoutMs < 0),
          end(std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs)) {}

    // Milliseconds left, rounded up, as poll and epoll_wait take them.
    int remainingMs() const {
        if (never)
            return -1;
        const auto left = end - std::chrono::steady_clock::now();
        return static_cast<int>(std::max<std::chrono::milliseconds::rep>(
            std::chrono::ceil<std::chrono::milliseconds>(left).count(), 0));
    }

private:
    bool never;
    std::chrono::steady_clock::time_point end;
};

}  // namespace Ozo
