// Waiting for what other threads do, with one generous deadline.
#pragma once

#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "tessel/activeObject.hpp"

namespace TestSupport {

using Tessel::ActiveObject::V1::ActiveObjectIf;

constexpr auto deadline = std::chrono::seconds(20);

template <typename Result>
Result await(std::future<Result> future) {
    if (future.wait_for(deadline) != std::future_status::ready) {
        throw std::runtime_error("what the test waits for did not come");
    }
    return future.get();
}

inline std::shared_ptr<ActiveObjectIf> makeActiveObject(std::function<void()> body = [] {}) {
    return ActiveObjectIf::create("TestObject", std::move(body),
                                  Tessel::ActiveObject::V1::SchedulingPolicy::Default);
}

// Runs the function on the active object and gives its result.
template <typename Function>
auto on(ActiveObjectIf& object, Function function) {
    auto task = std::make_shared<std::packaged_task<decltype(function())()>>(std::move(function));
    auto result = task->get_future();
    object.runOnActiveObject([task] { (*task)(); });
    return await(std::move(result));
}

// Something that happens once, on whatever thread, and that may be told of several times.
class Event {
public:
    void happen() {
        const std::lock_guard lock(mutex_);
        happened_ = true;
        changed_.notify_all();
    }
    bool has() {
        const std::lock_guard lock(mutex_);
        return happened_;
    }
    void await() {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, deadline, [this] { return happened_; })) {
            throw std::runtime_error("the event did not happen");
        }
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool happened_ = false;
};

// Values that other threads put down, in their order.
template <typename Value>
class Record {
public:
    void add(Value value) {
        const std::lock_guard lock(mutex_);
        values_.push_back(std::move(value));
        changed_.notify_all();
    }
    std::vector<Value> get() {
        const std::lock_guard lock(mutex_);
        return values_;
    }
    std::vector<Value> await(std::size_t size) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, deadline, [&] { return values_.size() >= size; })) {
            throw std::runtime_error("fewer values than expected came");
        }
        return values_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Value> values_;
};

}  // namespace TestSupport
