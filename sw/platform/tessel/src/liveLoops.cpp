#include "liveLoops.hpp"

#include <future>
#include <utility>
#include <vector>

#include "loop.hpp"

namespace Tessel {

namespace {

// Each loop holds a reference; when the last one is gone, all have passed.
struct Passage {
    std::promise<void> all;

    Passage() = default;
    Passage(const Passage&) = delete;
    Passage& operator=(const Passage&) = delete;
    ~Passage() { all.set_value(); }
};

}  // namespace

LiveLoops& LiveLoops::instance() {
    static auto* const loops = new LiveLoops;
    return *loops;
}

LiveLoops::Ticket LiveLoops::add(const std::shared_ptr<Loop>& loop) {
    const std::lock_guard lock(mutex_);
    if (deliveryStopped_) {
        loop->stopDelivery();
    }
    loops_[nextTicket_] = loop;
    return nextTicket_++;
}

void LiveLoops::remove(Ticket ticket) {
    const std::lock_guard lock(mutex_);
    loops_.erase(ticket);
    ended_.notify_all();
}

void LiveLoops::park(Ticket ticket, Thread thread) {
    const std::lock_guard lock(mutex_);
    parked_.emplace(ticket, std::move(thread));
}

void LiveLoops::joinParked() {
    std::vector<Thread> threads;
    {
        const std::lock_guard lock(mutex_);
        for (auto entry = parked_.begin(); entry != parked_.end();) {
            if (loops_.find(entry->first) == loops_.end()) {
                threads.push_back(std::move(entry->second));
                entry = parked_.erase(entry);
            } else {
                ++entry;
            }
        }
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

bool LiveLoops::settle(Deadline deadline) {
    return runOnEach([](Loop&) {}, deadline);
}

bool LiveLoops::stopDelivery(Deadline deadline) {
    {
        const std::lock_guard lock(mutex_);
        deliveryStopped_ = true;
    }
    return runOnEach([](Loop& loop) { loop.stopDelivery(); }, deadline);
}

bool LiveLoops::waitForEnd(Deadline deadline) {
    {
        std::unique_lock lock(mutex_);
        if (!ended_.wait_until(lock, deadline, [this] { return loops_.empty(); })) {
            return false;
        }
    }
    joinParked();
    return true;
}

bool LiveLoops::runOnEach(const std::function<void(Loop&)>& function, Deadline deadline) {
    auto passage = std::make_shared<Passage>();
    const auto passed = passage->all.get_future();
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [ticket, weak] : loops_) {
            if (const auto loop = weak.lock()) {
                loop->post([function, passage, loop = loop.get()] { function(*loop); });
            }
        }
    }
    passage.reset();
    return passed.wait_until(deadline) == std::future_status::ready;
}

}  // namespace Tessel
