// Samples end to end: from a frontend's thread over the mailbox to the filter of a started
// collector. What counts is the processor time of the collector's thread.
#include <pthread.h>
#include <ctime>

#include <future>
#include <stdexcept>

#include "cases.hpp"
#include "frontendMessages.hpp"
#include "tessel/activeObject.hpp"
#include "wireFormat.hpp"
#include "workload.hpp"

namespace Qdx::Bench {

namespace {

using Tessel::ActiveObject::V1::ActiveObjectIf;
using Tessel::ActiveObject::V1::SchedulingPolicy;

// A collector with a full filter, on an active object of its own.
class StartedCollector {
public:
    explicit StartedCollector(const Workload& work)
        : collector(fullCollector({captureMeasurements}, work)) {
        std::promise<clockid_t> started;
        thread = ActiveObjectIf::create(
            "collector",
            [&] {
                pinToProcessor(1);
                collector->publishOZO();
                collector->setupMessageHandlers();
                clockid_t own = 0;
                pthread_getcpuclockid(pthread_self(), &own);
                started.set_value(own);
            },
            SchedulingPolicy{0});
        clock = started.get_future().get();
    }
    ~StartedCollector() {
        std::promise<void> stopped;
        thread->runOnActiveObject([&] {
            ozo_delete_mailbox(ozo_locate(V1::collectorMailbox));
            stopped.set_value();
        });
        stopped.get_future().wait();
    }
    StartedCollector(const StartedCollector&) = delete;
    StartedCollector& operator=(const StartedCollector&) = delete;

    // Processor time of the collector's thread.
    double nanoseconds() const {
        timespec now{};
        clock_gettime(clock, &now);
        return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
    }

private:
    std::unique_ptr<Backend::Quardex> collector;
    std::shared_ptr<ActiveObjectIf> thread;
    clockid_t clock = 0;
};

// The mailbox of the calling thread.
class Sender {
public:
    Sender()
        : mailbox(ozo_create_mailbox("BenchFrontend", 0)), to(ozo_locate(V1::collectorMailbox)) {}
    ~Sender() { ozo_delete_mailbox(mailbox); }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    // Returns once the collector has handled all of it.
    void send(const Messages& messages) const {
        for (const auto& message : messages) {
            ozo_send(V1::toOzoMessage(V1::bytesOf(message.get())), to, OZO_MY_MAILBOX);
        }
        waitUntilHandled();
        if (ozo_get_drops().queue_full > 0) {
            throw std::runtime_error("batches were dropped on their way to the collector");
        }
    }

private:
    void waitUntilHandled() const {
        const auto request = V1::encodeConnectionRequest({}, {V1::protocolRevision});
        ozo_send(V1::toOzoMessage(request), to, OZO_MY_MAILBOX);
        auto* reply = ozo_receive(20'000);
        if (reply == nullptr) {
            throw std::runtime_error("the collector doesn't answer");
        }
        ozo_free(reply);
    }

    std::uint32_t mailbox;
    std::uint32_t to;
};

}  // namespace

std::vector<Row> mailboxCases(const Settings& settings) {
    const Workload work(Kind::Measurement, settings.series(1000));
    const StartedCollector collector(work);
    const Sender sender;
    const auto ns = inTurns({{[&] { sender.send(work.messages); }, work.samples,
                              [&] { return collector.nanoseconds(); }}},
                            settings.effort);
    return {{.name = "end to end, collector's processor time",
             .value = ns[0],
             .target = Target{Measure::MillionsPerSecond, 10, 20}}};
}

}  // namespace Qdx::Bench
