#include "loop.hpp"

#include <asio/post.hpp>
#include <utility>

namespace Tessel {

namespace {

thread_local Loop* loopOfThisThread = nullptr;

}  // namespace

Loop* Loop::current() {
    return loopOfThisThread;
}

Loop::Loop() : work_(asio::make_work_guard(io_)), messages_(io_, [this] { monitors_.clear(); }) {
    messages_.addHandler(
        MailboxMonitors::messageNumber,
        [this](const std::shared_ptr<ozo_msg>& message) { monitors_.handleGone(*message); });
}

void Loop::run(Function body) {
    loopOfThisThread = this;
    body();
    body = nullptr;
    io_.run();
    loopOfThisThread = nullptr;
}

void Loop::post(Function function) {
    asio::post(io_, [this, function = std::move(function)] {
        function();
        messages_.endIfMailboxGone();
    });
}

void Loop::finish() {
    post([this] {
        stopDelivery();
        work_.reset();
    });
}

void Loop::stopDelivery() {
    delivers_ = false;
    messages_.stop();
}

}  // namespace Tessel
