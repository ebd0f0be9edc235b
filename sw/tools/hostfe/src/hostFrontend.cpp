#include "hostFrontend.hpp"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "deviceHandles.hpp"
#include "hostMetaData.hpp"
#include "hostReader.hpp"
#include "hostRecords.hpp"
#include "hostSampler.hpp"
#include "qdx/frontend.hpp"
#include "wireFormat.hpp"

namespace HostFe {
namespace {

using Qdx::Frontend::Connection;
using Qdx::Frontend::State;

volatile std::sig_atomic_t stopped = 0;

void stop(int) {
    stopped = 1;
}

// Has SIGTERM and SIGINT wait from now on, so that none is missed; gives the mask that lets them
// come.
sigset_t holdStopSignals() {
    sigset_t held;
    sigset_t mask;
    ::sigemptyset(&held);
    ::sigprocmask(SIG_BLOCK, nullptr, &mask);
    for (const int number : {SIGTERM, SIGINT}) {
        ::sigaddset(&held, number);
        ::sigdelset(&mask, number);
        std::signal(number, stop);
    }
    ::sigprocmask(SIG_BLOCK, &held, nullptr);
    return mask;
}

std::uint64_t microsecondsPerTick() {
    return 1'000'000 / static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
}

void say(const std::string& text) {
    std::cerr << "hostfe: " + text + "\n";
}

Connection connect(const Qdx::Frontend::MetaData& metaData,
                   std::function<void(State)> onStateChange) {
    const std::string name = "HostFrontend";
    try {
        return Connection(name, metaData, {.onStateChange = std::move(onStateChange)});
    } catch (const std::system_error& error) {
        throw std::runtime_error(error.code() == std::errc::address_in_use
                                     ? "cannot create the mailbox " + name +
                                           ": another hostfe runs on this unit"
                                     : std::string(error.what()) +
                                           "; is /run/ozo there (below UNIT_ROOT, if that is set), "
                                           "and are you in its group?");
    }
}

class HostFrontend {
public:
    explicit HostFrontend(const Options& options)
        : period(std::chrono::ceil<Clock::duration>(std::chrono::duration<double>(1) /
                                                    options.rateHz)),
          end(options.duration
                  ? Clock::now() + std::chrono::ceil<Clock::duration>(*options.duration)
                  : Clock::time_point::max()),
          registerPeriod(std::chrono::ceil<Clock::duration>(options.registerPeriod)),
          files(options.hostRoot),
          reader(files, microsecondsPerTick()),
          connection(connect(readHostMetaData(files, runningKernel()),
                             [this](State state) { handle(state); })) {}

    void run() {
        connection.poll();
        if (connection.state() == State::Seeking) {
            say("waiting for the collector");
        }
        auto nextTick = Clock::now();
        while (stopped == 0 && Clock::now() < end) {
            if (const auto now = Clock::now(); now >= nextTick) {
                tick(now);
                // Ticks that were missed are not made up for: their time is part of the next
                // increments.
                nextTick = std::max(nextTick + period, Clock::now());
            }
            wait(std::min(nextTick, end));
            connection.poll();
        }
        const bool allLeft = connection.drain(std::chrono::seconds(1));
        say(describe(connection.statistics()) + (allLeft ? "" : "; the last batches didn't leave"));
    }

private:
    // What is told to one collector: increments, states of links and blocks of counters begin anew
    // with each connection.
    struct Session {
        Session(const HostFiles& files, Clock::duration registerPeriod)
            : records(files, registerPeriod) {}

        HostSampler sampler;
        HostRecords records;
    };

    void handle(State state) {
        session.reset();
        switch (state) {
            case State::Seeking:
                say("the collector is gone");
                say("waiting for the collector");
                break;
            case State::Asking:
                break;
            case State::Connected:
                say("connected to the collector");
                session.emplace(files, registerPeriod);
                break;
            case State::Refused:
                say("the collector doesn't know revision " +
                    std::to_string(Qdx::V1::protocolRevision) +
                    " of the protocol; waiting for another one");
                break;
        }
    }

    void tick(Clock::time_point now) {
        if (!session) {
            return;
        }
        const HostSnapshot snapshot = reader.read(now);
        const std::vector<Record> events = session->records.read(now);
        // If the collector went while the machine was read, its successor must not get this.
        connection.poll();
        if (!session) {
            return;
        }
        for (const Sample& sample : session->sampler.sample(snapshot)) {
            add(sample);
        }
        for (const Record& record : events) {
            add(record);
        }
        connection.flush();
    }

    void add(const Sample& sample) {
        if (sample.object.kind == SampleKind::Measurement) {
            measurements.of(sample.object.name, sample.device).add(sample.value);
        } else {
            counters.of(sample.object.name, sample.device).add(sample.value);
        }
    }

    void add(const Record& record) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(record.bytes.data());
        records.of(record.object.name, record.device).add({bytes, record.bytes.size()});
    }

    // Until then, unless a signal comes or the connection has something to do.
    void wait(Clock::time_point then) const {
        const auto until = std::min(connection.nextDeadline().value_or(then), then);
        const auto left = std::max(until - Clock::now(), Clock::duration::zero());
        const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
        const timespec timeout{.tv_sec = seconds.count(), .tv_nsec = (left - seconds).count()};
        pollfd readable{connection.descriptor(), POLLIN, 0};
        if (::ppoll(&readable, 1, &timeout, &waitingMask) < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot wait for events");
        }
    }

    // First, so that a signal that comes while the rest is made ends the loop and not the process.
    const sigset_t waitingMask = holdStopSignals();
    const Clock::duration period;
    const Clock::time_point end;
    const Clock::duration registerPeriod;

    const HostFiles files;
    HostReader reader;
    std::optional<Session> session;  // while connected
    Connection connection;
    DeviceHandles<Qdx::Frontend::Measurement> measurements{connection};
    DeviceHandles<Qdx::Frontend::Counter> counters{connection};
    DeviceHandles<Qdx::Frontend::Record> records{connection};
};

}  // namespace

void runHostFrontend(const Options& options) {
    HostFrontend(options).run();
}

std::string describe(const Qdx::Frontend::Statistics& counts) {
    using Drops = std::pair<const Qdx::Frontend::Drops&, const char*>;
    std::string dropped;
    for (const auto& [drops, cause] :
         {Drops(counts.notConnected, "without a collector"),
          Drops(counts.refusedRevision, "for the protocol's revision"),
          Drops(counts.slowCollector, "for a slow collector"),
          Drops(counts.noMemory, "for want of memory"), Drops(counts.tooLarge, "too large")}) {
        if (drops.samples > 0) {
            dropped += (dropped.empty() ? "" : ", ") + std::to_string(drops.samples) + " " + cause;
        }
    }
    return "sent " + std::to_string(counts.sentBatches) +
           " batches; dropped samples: " + (dropped.empty() ? "none" : dropped);
}

}  // namespace HostFe
