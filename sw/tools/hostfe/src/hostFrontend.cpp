#include "hostFrontend.hpp"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <span>
#include <string>
#include <system_error>

#include "batchWriter.hpp"
#include "collectorLink.hpp"
#include "hostMetaData.hpp"
#include "hostReader.hpp"
#include "hostRecords.hpp"
#include "hostSampler.hpp"

namespace HostFe {
namespace {

using Seconds = std::chrono::duration<double>;

std::uint64_t microsecondsPerTick() {
    return 1'000'000 / static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
}

class Descriptor {
public:
    // Takes the result of a call that opens something, and throws if the call failed.
    explicit Descriptor(int opened) : fd(opened) {
        if (fd < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot watch for events");
        }
    }
    ~Descriptor() { ::close(fd); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return fd; }

private:
    const int fd;
};

int openStopSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGTERM);
    ::sigaddset(&signals, SIGINT);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

timespec toTimespec(Seconds time) {
    const auto nanoseconds = std::chrono::ceil<std::chrono::nanoseconds>(time).count();
    constexpr std::int64_t perSecond = 1'000'000'000;
    return {.tv_sec = nanoseconds / perSecond, .tv_nsec = nanoseconds % perSecond};
}

// A timer that becomes readable after first, then after each period; never if both are zero.
int openTimer(Seconds first, Seconds period) {
    const int fd = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    const itimerspec times{.it_interval = toTimespec(period), .it_value = toTimespec(first)};
    if (fd >= 0) {
        ::timerfd_settime(fd, 0, &times, nullptr);
    }
    return fd;
}

std::string contextOf(std::optional<int> device) {
    return device ? "deviceId=" + std::to_string(*device) : std::string();
}

class HostFrontend {
public:
    explicit HostFrontend(const Options& options)
        : stop(openStopSignals()),
          end(openTimer(options.duration.value_or(Seconds::zero()), Seconds::zero())),
          tick(openTimer(std::chrono::nanoseconds(1), Seconds(1 / options.rateHz))),
          files(options.hostRoot),
          link(readHostMetaData(files, runningKernel())),
          reader(files, microsecondsPerTick()),
          records(files, std::chrono::ceil<Clock::duration>(options.registerPeriod)),
          batch(ozo_get_max_size()) {}

    void run() {
        std::array<pollfd, 4> events{pollfd{stop.get(), POLLIN, 0}, pollfd{end.get(), POLLIN, 0},
                                     pollfd{link.descriptor(), POLLIN, 0},
                                     pollfd{tick.get(), POLLIN, 0}};
        const auto& [stopped, ended, message, ticked] = events;
        while (stopped.revents == 0 && ended.revents == 0) {
            if (::poll(events.data(), events.size(), -1) < 0 && errno != EINTR) {
                throw std::system_error(errno, std::generic_category(), "cannot wait for events");
            }
            if (message.revents != 0) {
                link.receive();
            }
            if (ticked.revents != 0) {
                handleTick();
            }
        }
        report();
    }

private:
    void handleTick() {
        // Ticks that were missed are not made up for: their time is part of the next increments.
        std::uint64_t expirations = 0;
        if (::read(tick.get(), &expirations, sizeof(expirations)) < 0) {
            return;
        }
        const auto now = Clock::now();
        link.seek(now);
        if (link.isConnected()) {
            send(sampler.sample(reader.read(now)), records.read(now));
        } else {
            sampler.forget();
            records.forget();
        }
    }

    void send(const std::vector<Sample>& samples, const std::vector<Record>& events) {
        for (const Sample& sample : samples) {
            put(sample);
        }
        for (const Record& record : events) {
            put(record);
        }
        if (!batch.empty()) {
            sendBatch();
        }
    }

    template <typename Item>
    void put(const Item& item) {
        if (!add(item)) {
            sendBatch();
            (void)add(item);
        }
    }

    bool add(const Sample& sample) {
        const std::string context = contextOf(sample.device);
        return sample.object.kind == SampleKind::Measurement
                   ? batch.addMeasurement(sample.object.name, context, {sample.value})
                   : batch.addCounter(sample.object.name, context, {sample.value});
    }

    bool add(const Record& record) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(record.bytes.data());
        return batch.addRecord(record.object.name, contextOf(record.device),
                               std::span(bytes, record.bytes.size()));
    }

    void sendBatch() {
        link.send(batch.take());
        ++batches;
    }

    void report() const {
        const ozo_drops drops = ozo_get_drops();
        const auto dropped = drops.receiver_gone + drops.queue_full + drops.too_large;
        std::cerr << "hostfe: sent " + std::to_string(batches) + " batches; " +
                         std::to_string(dropped) + " messages were dropped\n";
    }

    // First, so that a signal that comes while the rest is made ends the loop and not the process.
    const Descriptor stop;
    const Descriptor end;
    const Descriptor tick;

    const HostFiles files;
    CollectorLink link;
    HostReader reader;
    HostSampler sampler;
    HostRecords records;
    Qdx::V1::BatchWriter batch;
    std::uint64_t batches = 0;
};

}  // namespace

void runHostFrontend(const Options& options) {
    HostFrontend(options).run();
}

}  // namespace HostFe
