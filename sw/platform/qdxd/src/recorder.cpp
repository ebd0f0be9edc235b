#include "recorder.hpp"

#include <new>
#include <utility>

namespace Qdxd {

namespace {

// What may wait for the next event: readings of clocks, of which an event has few.
constexpr std::size_t longestWait = std::size_t{64} * 1024;

std::chrono::nanoseconds now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

}  // namespace

Recorder::Recorder(const std::string& path, const Recording::Header& header,
                   std::function<void(const std::string&)> say)
    : say_(std::move(say)), file_(path), encoder_(header) {
    write();
}

Recorder::~Recorder() {
    record([this] { write(); });
}

void Recorder::onMessage(const ozo_msg& message) {
    record([&] {
        const auto* payload = reinterpret_cast<const std::byte*>(&message + 1);
        encoder_.message(now(), senderOf(ozo_sender(&message)), message.msgno,
                         {payload, ozo_size(&message) - sizeof message});
        write();
    });
}

void Recorder::onMailboxGone(std::uint32_t mailbox) {
    record([&] {
        encoder_.mailboxGone(now(), senderOf(mailbox));
        senders_.erase(mailbox);  // the next mailbox with this id is another one
        write();
    });
}

void Recorder::onCommand(const std::vector<std::string>& words) {
    record([&] {
        encoder_.command(now(), words);
        write();
    });
}

void Recorder::onSteadyClock(std::chrono::steady_clock::time_point time) {
    record([&] { encoder_.steadyReading(time.time_since_epoch()); });
}

void Recorder::onWallClock(std::chrono::system_clock::time_point time) {
    record([&] { encoder_.wallReading(now(), time.time_since_epoch()); });
}

template <typename Encode>
void Recorder::record(Encode encode) {
    const std::lock_guard lock(mutex_);
    if (failed_) {
        return;
    }
    try {
        encode();
        if (encoder_.bytes().size() > longestWait) {
            write();
        }
    } catch (const std::bad_alloc&) {
        end("out of memory");
    }
}

// Half an event may be in the encoder. There may be no memory for the line either.
void Recorder::end(const char* why) noexcept {
    failed_ = true;
    encoder_.clear();
    try {
        say_(std::string("the recording ends here: ") + why);
    } catch (const std::bad_alloc&) {
        return;
    }
}

void Recorder::write() {
    if (failed_) {
        return;
    }
    try {
        file_.write(encoder_.bytes());
        encoder_.clear();
    } catch (const Recording::CannotWrite& error) {
        end(error.what());
    }
}

std::uint32_t Recorder::senderOf(std::uint32_t mailbox) {
    const auto [entry, isNew] = senders_.try_emplace(mailbox, lastSender_ + 1);
    lastSender_ += isNew ? 1 : 0;
    return entry->second;
}

}  // namespace Qdxd
