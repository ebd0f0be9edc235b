#include "sender.hpp"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "InfoObjectCollections.pb.h"
#include "batchItems.hpp"
#include "infoObjectContextImpl.hpp"
#include "saturatedTime.hpp"

namespace Qdx::Frontend {
namespace {

// Messages that one poll() handles, so that a peer that floods the mailbox holds nobody.
constexpr int messagesPerPoll = 64;

// A counter's value, and what a measurement's is too.
constexpr std::size_t valueSize = sizeof(std::int64_t);

RadioMetaData toMessage(const MetaData& metaData) {
    RadioMetaData message;
    const auto set = [&message](void (RadioMetaData::*setter)(const std::string&),
                                const std::optional<std::string>& value) {
        if (value) {
            (message.*setter)(*value);
        }
    };
    set(&RadioMetaData::set_swproductnumber<const std::string&>, metaData.swProductNumber);
    set(&RadioMetaData::set_swproductrevision<const std::string&>, metaData.swProductRevision);
    set(&RadioMetaData::set_hwproductnumber<const std::string&>, metaData.hwProductNumber);
    set(&RadioMetaData::set_hwproductrevision<const std::string&>, metaData.hwProductRevision);
    set(&RadioMetaData::set_hwserialnumber<const std::string&>, metaData.hwSerialNumber);
    set(&RadioMetaData::set_hwname<const std::string&>, metaData.hwName);
    return message;
}

// Empty if there is nothing to tell.
V1::MessageBytes encode(const MetaData& metaData) {
    const RadioMetaData message = toMessage(metaData);
    if (message.ByteSizeLong() == 0) {
        return {};
    }
    V1::MessageBytes bytes = V1::encodeMetaData({}, message);
    if (bytes.size() > ozo_get_max_size()) {
        throw std::length_error("the metadata are larger than a whole message");
    }
    return bytes;
}

// One context that can't be decoded spoils the collector's whole result.
void requireContext(std::string_view context) {
    const std::string text(context);
    if (!text.empty() && V1::InfoObjectContextImpl::cache(text) == nullptr) {
        throw std::invalid_argument("the collector can't decode the context \"" + text + "\"");
    }
}

// The system lacks something, and nothing tells when it has it again.
bool isLack(int error) {
    return error != 0 && error != EAGAIN && error != ECONNREFUSED;
}

}  // namespace

Sender::Sender(const std::string& mailboxName, const MetaData& metaData, Options chosen)
    : options(std::move(chosen)),
      mailbox(mailboxName),
      handshake(mailbox, encode(metaData), options.retryPeriod, options.onStateChange),
      batch(ozo_get_max_size()),
      queue(std::max<std::size_t>(options.queuedBatches, 1), ozo_get_max_size()) {
    batch.reserve();
}

Sender::~Sender() {
    flush();
}

Series& Sender::defineMeasurement(std::string_view name, std::string_view context) {
    return define(measurements, name, context, valueSize);
}

Series& Sender::defineCounter(std::string_view name, std::string_view context) {
    return define(counters, name, context, valueSize);
}

Series& Sender::defineRecord(std::string_view name, std::string_view context) {
    return define(records, name, context, 0);
}

Series& Sender::define(SeriesTable& table, std::string_view name, std::string_view context,
                       std::size_t payloadSize) {
    V1::SampleKey key(name, context);
    if (!batch.couldHold(key, payloadSize)) {
        throw std::length_error("name and context of a sample are larger than a whole message");
    }
    requireContext(context);
    return table.define(*this, std::move(key));
}

// ---- Adding

void Sender::addMeasurement(const Series& series, std::int64_t value) noexcept {
    makeRoom(series.key, valueSize);
    (void)batch.addMeasurement(series.key, {value});
}

void Sender::addCounter(Series& series, std::int64_t increment) noexcept {
    // First, because what is dropped to make room may be of this counter.
    makeRoom(series.key, valueSize);
    const std::uint64_t sum =
        static_cast<std::uint64_t>(increment) + std::exchange(series.carried, 0);
    (void)batch.addCounter(series.key, {static_cast<std::int64_t>(sum)});
}

bool Sender::addRecord(const Series& series, std::span<const unsigned char> payload) noexcept {
    if (!batch.couldHold(series.key, payload.size())) {
        ++counts.tooLarge.samples;
        return false;
    }
    makeRoom(series.key, payload.size());
    (void)batch.addRecord(series.key, payload);
    return true;
}

void Sender::makeRoom(const V1::SampleKey& key, std::size_t payloadSize) {
    if (!batch.hasRoomFor(key, payloadSize)) {
        closeBatch();
        // While the queue doesn't move, poll() is told when it does.
        if (obstacle == 0) {
            sendQueue();
        }
    }
    if (batch.empty()) {
        batchOpenedAt = Clock::now();
    }
}

void Sender::closeBatch() {
    if (queue.full()) {
        sendQueue();
    }
    if (queue.full()) {
        drop(causeOfWaiting());
    }
    queue.push(batch);
}

// ---- Sending

void Sender::poll(Clock::time_point now) {
    for (int handled = 0; handled < messagesPerPoll; ++handled) {
        const Message message = mailbox.receive();
        if (message == nullptr) {
            break;
        }
        handshake.handle(message.get());
    }
    handshake.advance(now);
    sendQueue();
    if (isOpenBatchOld(now)) {
        sendOpenBatch();
    }
}

bool Sender::flush() {
    sendQueue();
    sendOpenBatch();
    return queue.empty() && batch.empty();
}

std::optional<Clock::time_point> Sender::nextDeadline() const {
    auto deadline = handshake.nextDeadline();
    const auto consider = [&deadline](Clock::time_point time) {
        deadline = deadline ? std::min(*deadline, time) : time;
    };
    if (handshake.isDone() && queue.empty() && !batch.empty()) {
        consider(later(batchOpenedAt, options.batchAge));
    }
    if (!queue.empty() && isLack(obstacle)) {
        consider(retryAt);
    }
    return deadline;
}

bool Sender::isOpenBatchOld(Clock::time_point now) const {
    return now >= later(batchOpenedAt, options.batchAge);
}

void Sender::sendOpenBatch() {
    if (handshake.isDone() && queue.empty() && !batch.empty()) {
        closeBatch();
        sendQueue();
    }
}

void Sender::sendQueue() {
    obstacle = 0;
    while (handshake.isDone() && !queue.empty() && obstacle == 0) {
        obstacle = mailbox.trySend(queue.front(), handshake.collector());
        if (obstacle == 0) {
            ++counts.sentBatches;
            queue.pop();
        } else if (obstacle == EMSGSIZE) {
            drop(counts.tooLarge);
            obstacle = 0;
        }
    }
    if (isLack(obstacle)) {
        retryAt = later(Clock::now(), options.retryPeriod);
    }
}

// ---- Dropping

void Sender::drop(Drops& cause) {
    const Sections sections = sectionsOf(queue.front());
    const auto ignore = [](std::string_view, std::span<const unsigned char>) {};
    cause.samples += forEachItem(sections.measurements, ignore);
    cause.samples += forEachItem(sections.records, ignore);
    cause.samples += forEachItem(
        sections.counters, [this](std::string_view key, std::span<const unsigned char> value) {
            counters.find(key)->carried += V1::readBigEndian64(value.data());
        });
    ++cause.batches;
    queue.pop();
}

Drops& Sender::causeOfWaiting() {
    if (handshake.state() == State::Refused) {
        return counts.refusedRevision;
    }
    if (!handshake.isDone() || obstacle == ECONNREFUSED) {
        return counts.notConnected;
    }
    return isLack(obstacle) ? counts.noMemory : counts.slowCollector;
}

Statistics Sender::statistics() const {
    Statistics result = counts;
    result.connections = handshake.connections();
    return result;
}

}  // namespace Qdx::Frontend
