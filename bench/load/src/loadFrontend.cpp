#include "loadFrontend.hpp"

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <string>

#include "frontendMessages.hpp"
#include "ozo.h"
#include "sampleCode.hpp"
#include "wireFormat.hpp"

namespace QdxLoad {
namespace {

using Qdx::Frontend::Clock;
using Qdx::Frontend::State;
using namespace std::chrono_literals;

constexpr auto patience = 10s;  // with a collector that doesn't come, or doesn't get ready
constexpr auto tick = 1ms;      // samples of a rate are added in bursts of this time
constexpr auto glance = 100ms;  // how soon a signal is noticed
constexpr int burst = 256;      // samples between two looks at the clock and the mailbox
constexpr std::size_t queuedBatches = 16;  // 1 MiB

// Of the request behind everything; a connection counts its own from 1.
constexpr std::uint32_t lastRequest = 0xFFFF'FFFF;

Qdx::Frontend::MetaData metaData() {
    return {.swProductNumber = "QDXLOAD",
            .swProductRevision = "R1A",
            .hwProductNumber = "LOAD",
            .hwProductRevision = "R1A",
            .hwSerialNumber = "L000",
            .hwName = "load"};
}

using Message = std::unique_ptr<ozo_msg, decltype(&ozo_free)>;

bool isLastReply(const ozo_msg* message) {
    const auto reply = Qdx::V1::decodeConnectionReply(Qdx::V1::bytesOf(message));
    return reply && reply->references.procedure == lastRequest;
}

}  // namespace

LoadFrontend::LoadFrontend(const Plan& wholePlan, const Load& wholeLoad, std::uint32_t frontend)
    : plan(wholePlan),
      load(wholeLoad),
      number(frontend),
      connection(
          "QdxLoad" + std::to_string(frontend), metaData(),
          {.queuedBatches = queuedBatches, .onStateChange = [this](State) { observe(added); }}),
      record(plan.recordSize + plan.recordSpread) {
    const auto order = plan.order(number);
    turns.reserve(order.size());
    for (const auto series : order) {
        turns.push_back({.series = series, .handle = makeHandle(plan.seriesAt(series))});
    }
}

LoadFrontend::Handle LoadFrontend::makeHandle(const Series& series) {
    const auto name = objectName(plan, series.object);
    const auto context = contextOf(series);
    switch (plan.kindOf(series.object)) {
        case Kind::Counter:
            return Qdx::Frontend::Counter(connection, name, context);
        case Kind::Record:
            return Qdx::Frontend::Record(connection, name, context);
        case Kind::Measurement:
            break;
    }
    return Qdx::Frontend::Measurement(connection, name, context);
}

void LoadFrontend::connect(const std::atomic<bool>& stopped) {
    const auto end = Clock::now() + patience;
    while (connection.state() != State::Connected && !stopped) {
        if (Clock::now() >= end) {
            throw std::runtime_error(
                "no collector confirms the connection; is qdxd up in this "
                "unit (UNIT_ROOT)?");
        }
        serveUntil(std::min(end, Clock::now() + tick));
    }
}

// ---- Adding

void LoadFrontend::feed(const std::atomic<bool>& stopped, std::chrono::duration<double> duration) {
    const Start start{.time = Clock::now(), .added = added};
    const auto end = start.time + std::chrono::ceil<Clock::duration>(duration);
    while (!stopped && Clock::now() < end) {
        if (load.waits && queueIsFull()) {
            serveUntil(Clock::now() + tick);
        } else {
            addDue(start);
            serveUntil(std::min(end, timeOfNext(start)));
        }
    }
}

void LoadFrontend::addDue(const Start& start) {
    double due = static_cast<double>(added) + burst;
    if (load.samplesPerSecond) {
        const std::chrono::duration<double> elapsed = Clock::now() - start.time;
        due = std::min(due, static_cast<double>(start.added) +
                                elapsed.count() * *load.samplesPerSecond / plan.frontends);
    }
    while (static_cast<double>(added) < due && !(load.waits && queueIsFull())) {
        addNext();
    }
}

// Now, if more are due already.
Clock::time_point LoadFrontend::timeOfNext(const Start& start) const {
    if (!load.samplesPerSecond) {
        return Clock::time_point();
    }
    const auto rate = *load.samplesPerSecond / plan.frontends;
    const std::chrono::duration<double> next(static_cast<double>(added - start.added) / rate);
    const auto now = Clock::now();
    const auto time = start.time + std::chrono::ceil<Clock::duration>(next);
    return time <= now ? now : std::min(std::max(time, now + tick), now + glance);
}

void LoadFrontend::addNext() {
    const auto boundary = added++;
    if (load.progress != nullptr) {
        load.progress->added[number].store(added, std::memory_order_relaxed);
    }
    add(turns[nextTurn], sequence);
    observe(boundary);
    if (++nextTurn == turns.size()) {
        nextTurn = 0;
        ++sequence;
    }
}

void LoadFrontend::add(const Turn& turn, std::uint64_t ofRound) {
    const Code code{.series = turn.series, .sequence = ofRound};
    if (const auto* const measurement = std::get_if<Qdx::Frontend::Measurement>(&turn.handle)) {
        measurement->add(encode(code));
    } else if (const auto* const counter = std::get_if<Qdx::Frontend::Counter>(&turn.handle)) {
        counter->add(encode(code));
    } else {
        const auto bytes = std::span(record).first(plan.sizeOfRecord(encode(code)));
        writeRecord(bytes, code, plan.seed);
        if (!std::get<Qdx::Frontend::Record>(turn.handle).add(bytes)) {
            throw std::runtime_error("records of " + std::to_string(bytes.size()) +
                                     " bytes don't fit into a message; see OZO_MAX_SIZE");
        }
    }
}

bool LoadFrontend::queueIsFull() const {
    return connection.waitingBatches() + 1 >= queuedBatches;
}

// ---- Sending

void LoadFrontend::serveUntil(Clock::time_point end) {
    if (end <= Clock::now()) {
        connection.poll();
    } else {
        connection.serveUntil(end);
    }
    observe(added);
}

void LoadFrontend::observe(std::uint64_t boundary) {
    fates.observe(connection.statistics(), connection.waitingBatches(), boundary);
}

bool LoadFrontend::settle() {
    const bool drained = connection.drain(patience);
    observe(added);
    return drained && connection.state() == State::Connected && awaitHandled();
}

FrontendOutcome LoadFrontend::finish() {
    const bool handled = settle();
    const auto statistics = connection.statistics();
    FrontendLedger ledger{
        .added = added,
        .lastConnection = connection.state() == State::Connected ? statistics.connections : 0,
        .ranges = fates.ranges(added)};
    requireAgreement(ledger);
    return {.ledger = std::move(ledger), .statistics = statistics, .handled = handled};
}

// The collector answers a request when it has handled all that came before it. A message for the
// connection would be lost here; none comes but when the collector goes.
bool LoadFrontend::awaitHandled() const {
    const auto request =
        Qdx::V1::encodeConnectionRequest({.procedure = lastRequest}, {Qdx::V1::protocolRevision});
    ozo_send(Qdx::V1::toOzoMessage(request), ozo_locate(Qdx::V1::collectorMailbox), OZO_MY_MAILBOX);
    const auto end = Clock::now() + patience;
    for (auto now = Clock::now(); now < end; now = Clock::now()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
        const Message message(ozo_receive(static_cast<int>(left.count())), ozo_free);
        if (message != nullptr && isLastReply(message.get())) {
            return true;
        }
    }
    return false;
}

// The frontend library counts the samples that it drops by the bytes of the batch; the ledger knows
// them by the order of sending. If they differ, one of the two is wrong, and so is the run.
void LoadFrontend::requireAgreement(const FrontendLedger& ledger) const {
    std::array<std::uint64_t, causeCount> dropped{};
    for (const auto& range : ledger.ranges) {
        if (range.fate == Fate::Dropped) {
            dropped[static_cast<std::size_t>(range.cause)] += range.end - range.first;
        }
    }
    const auto counted = dropsByCause(connection.statistics());
    for (std::size_t cause = 0; cause < causeCount; ++cause) {
        if (counted[cause].samples != dropped[cause]) {
            throw std::runtime_error("the connection counts " +
                                     std::to_string(counted[cause].samples) + " samples dropped (" +
                                     std::string(nameOf(static_cast<Cause>(cause))) +
                                     "), its batches held " + std::to_string(dropped[cause]));
        }
    }
}

}  // namespace QdxLoad
