#include "messageWatch.hpp"

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "mailboxMonitors.hpp"
#include "observation.hpp"

namespace Tessel {

namespace {

using Clock = std::chrono::steady_clock;

// How long messages are handled in a row before posted functions, commands among them, get their
// turn. A message may cost as much as its sender likes to put into it, so their number says little;
// it is bounded too, because the clock has its price and may stand still.
constexpr auto burstTime = std::chrono::milliseconds(2);
constexpr int burst = 64;

enum Refusal : int { notTheMailbox = 1, watchedAlready, noHandler, numberTaken };

// Null if there is no memory to share the message, which is freed then.
std::shared_ptr<ozo_msg> shared(ozo_msg* message) {
    try {
        return {message, ozo_free};
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

MessageWatch::MessageWatch(asio::io_context& io, std::function<void()> mailboxGone)
    : mailboxGone_(std::move(mailboxGone)), descriptor_(io) {}

MessageWatch::~MessageWatch() {
    letGo();
}

int MessageWatch::watch(int fd) {
    if (fd < 0 || fd != ozo_get_fd()) {
        return notTheMailbox;
    }
    if (watching()) {
        return watchedAlready;
    }
    asio::error_code error;
    descriptor_.assign(fd, error);
    if (error) {
        return error.value();
    }
    ++watches_;
    awaitMessages();
    return 0;
}

int MessageWatch::addHandler(std::uint32_t number, Handler handler) {
    if (!handler) {
        return noHandler;
    }
    const auto slot = findSlot(number);
    if (slot != handlers_.end() && slot->number == number) {
        return numberTaken;
    }
    handlers_.insert(slot, {number, std::make_unique<const Handler>(std::move(handler))});
    return 0;
}

void MessageWatch::endIfMailboxGone() {
    if (watching() && ozo_get_fd() != descriptor_.native_handle()) {
        letGo();
        mailboxGone_();
    }
}

void MessageWatch::stop() {
    stopped_ = true;
    letGo();
}

std::vector<MessageWatch::Entry>::iterator MessageWatch::findSlot(std::uint32_t number) {
    return std::lower_bound(
        handlers_.begin(), handlers_.end(), number,
        [](const Entry& entry, std::uint32_t wanted) { return entry.number < wanted; });
}

void MessageWatch::awaitMessages() {
    if (stopped_) {
        return;
    }
    descriptor_.async_wait(asio::posix::descriptor_base::wait_read,
                           [this, watch = watches_](const asio::error_code& error) {
                               if (!error && watch == watches_) {
                                   deliverBurst();
                               }
                           });
}

void MessageWatch::deliverBurst() {
    const auto end = Clock::now() + burstTime;
    for (int i = 0; i < burst && watching(); ++i) {
        ozo_msg* const message = ozo_receive(0);
        if (message == nullptr) {
            break;
        }
        deliver(shared(message));
        endIfMailboxGone();
        if (Clock::now() >= end) {
            break;
        }
    }
    if (watching()) {
        awaitMessages();
    }
}

void MessageWatch::deliver(const std::shared_ptr<ozo_msg>& message) {
    if (message == nullptr) {
        ++unhandled_;
        return;
    }
    const auto slot = findSlot(message->msgno);
    if (slot == handlers_.end() || slot->number != message->msgno) {
        ++unhandled_;
        return;
    }
    // The news of a mailbox gone is told by those who understand it.
    if (message->msgno != MailboxMonitors::messageNumber) {
        observe([&](auto& observer) { observer.onMessage(*message); });
    }
    (*slot->handler)(message);
}

void MessageWatch::letGo() {
    if (watching()) {
        descriptor_.release();
    }
}

}  // namespace Tessel
