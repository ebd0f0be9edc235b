// A frontend with an event loop of its own: reports a radio ten times a second until SIGTERM or
// SIGINT, and says what became of it.
#include <poll.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <qdx/frontend.hpp>
#include <string_view>
#include <vector>

using namespace Qdx::Frontend;
using namespace std::chrono_literals;

namespace {

volatile std::sig_atomic_t stopped = 0;

void stop(int) {
    stopped = 1;
}

// What a real frontend would read from its hardware.
struct Branch {
    Measurement temperature;
    Counter packets;
    std::int64_t milliDegrees = 40'000;

    void report() {
        milliDegrees += 10;
        temperature.add(milliDegrees);
        packets.add(7);
    }
};

void reportEvent(const Record& record, std::string_view text) {
    record.add({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
}

// Waits until the connection has something to do, or end.
void wait(const Connection& connection, Clock::time_point end) {
    const auto next = std::min(connection.nextDeadline().value_or(end), end);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    pollfd event{.fd = connection.descriptor(), .events = POLLIN, .revents = 0};
    ::poll(&event, 1, std::max(0, static_cast<int>(left.count())));
}

void run(Connection& connection) {
    std::vector<Branch> branches{
        {Measurement(connection, "radio:temperature", "rfBranch=0"),
         Counter(connection, "radio:packets", "rfBranch=0")},
        {Measurement(connection, "radio:temperature", "rfBranch=1"),
         Counter(connection, "radio:packets", "rfBranch=1")},
    };
    reportEvent(Record(connection, "radio:event", "carrierId=7"), "started");

    auto nextReport = Clock::now();
    while (stopped == 0) {
        if (Clock::now() >= nextReport) {
            for (Branch& branch : branches) {
                branch.report();
            }
            nextReport += 100ms;
        }
        wait(connection, nextReport);
        connection.poll();
    }
    connection.drain(1s);
}

}  // namespace

int main() {
    std::signal(SIGTERM, stop);
    std::signal(SIGINT, stop);
    try {
        // Results can be pulled once the collector has all six.
        Connection connection("Radio", {.swProductNumber = "CXP1",
                                        .swProductRevision = "R1A",
                                        .hwProductNumber = "KRC1",
                                        .hwProductRevision = "R2B",
                                        .hwSerialNumber = "S123",
                                        .hwName = "radio"});
        run(connection);
        const Statistics counts = connection.statistics();
        std::cout << "sent " << counts.sentBatches << " batches; dropped "
                  << counts.notConnected.batches << " without a collector, "
                  << counts.slowCollector.batches << " to a slow one\n";
    } catch (const std::exception& error) {
        std::cerr << "radio: " << error.what() << '\n';
        return 1;
    }
}
