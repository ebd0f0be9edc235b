#include "qdx/frontend/connection.hpp"

#include <poll.h>

#include <algorithm>
#include <utility>

#include "saturatedTime.hpp"
#include "sender.hpp"

namespace Qdx::Frontend {
namespace {

timespec toTimespec(Clock::duration left) {
    const auto time = std::max(left, Clock::duration::zero());
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    return {.tv_sec = seconds.count(), .tv_nsec = std::chrono::nanoseconds(time - seconds).count()};
}

// False if a signal was handled meanwhile.
bool waitForDescriptor(int descriptor, Clock::time_point until) {
    pollfd readable{.fd = descriptor, .events = POLLIN, .revents = 0};
    const timespec left = toTimespec(until - Clock::now());
    return ::ppoll(&readable, 1, &left, nullptr) >= 0;
}

// Until something happens, but no longer than end. False if a signal was handled.
bool waitForWork(const Sender& sender, Clock::time_point end) {
    const auto deadline = sender.nextDeadline();
    return waitForDescriptor(sender.descriptor(), deadline ? std::min(*deadline, end) : end);
}

}  // namespace

Connection::Connection(const std::string& mailboxName, const MetaData& metaData, Options options)
    : sender(std::make_unique<Sender>(mailboxName, metaData, std::move(options))) {}

Connection::~Connection() = default;
Connection::Connection(Connection&&) noexcept = default;
Connection& Connection::operator=(Connection&&) noexcept = default;

State Connection::state() const {
    return sender->state();
}

Statistics Connection::statistics() const {
    return sender->statistics();
}

std::size_t Connection::waitingBatches() const {
    return sender->waitingBatches();
}

int Connection::descriptor() const {
    return sender->descriptor();
}

std::optional<Clock::time_point> Connection::nextDeadline() const {
    return sender->nextDeadline();
}

void Connection::poll(Clock::time_point now) {
    sender->poll(now);
}

bool Connection::flush() {
    return sender->flush();
}

void Connection::serveUntil(Clock::time_point end) {
    do {
        poll();
    } while (waitForWork(*sender, end) && Clock::now() < end);
}

bool Connection::drain(Clock::duration patience) {
    const auto end = later(Clock::now(), patience);
    while (true) {
        poll();
        if (flush()) {
            return true;
        }
        if (Clock::now() >= end || !waitForWork(*sender, end)) {
            return false;
        }
    }
}

}  // namespace Qdx::Frontend
