#include "outputQueue.hpp"

#include <utility>

namespace Tessel {

OutputQueue::OutputQueue(std::size_t limit, std::function<void()> wake)
    : limit_(limit), wake_(std::move(wake)) {}

bool OutputQueue::append(std::string_view head, std::string_view body) {
    bool wake = false;
    {
        const std::lock_guard lock(mutex_);
        if (closed_ || overrun_) {
            return false;
        }
        overrun_ = batch_.bytes.size() + head.size() + body.size() > limit_;
        if (!overrun_) {
            batch_.bytes.append(head).append(body);
        }
        wake = !std::exchange(woken_, true) || overrun_;
    }
    if (wake) {
        wake_();
    }
    return true;
}

void OutputQueue::end() {
    bool wake = false;
    {
        const std::lock_guard lock(mutex_);
        batch_.ended = true;
        wake = !std::exchange(woken_, true);
    }
    if (wake) {
        wake_();
    }
}

OutputQueue::Batch OutputQueue::take() {
    const std::lock_guard lock(mutex_);
    woken_ = false;
    return {std::exchange(batch_.bytes, {}), batch_.ended};
}

bool OutputQueue::overrun() const {
    const std::lock_guard lock(mutex_);
    return overrun_;
}

void OutputQueue::close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    batch_.bytes = {};
}

}  // namespace Tessel
