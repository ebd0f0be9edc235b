#include <poll.h>
#include <sysexits.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <optional>

#include "commands.hpp"
#include "exitStatus.hpp"
#include "signals.hpp"

namespace Qfci {

namespace {

using Qdx::Control::Client;
using Qdx::Control::Result;

// In milliseconds, rounded up; -1 without a deadline.
int timeLeft(const Client& client) {
    const auto deadline = client.deadline();
    if (!deadline) {
        return -1;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

bool hasEnded(int input) {
    std::array<char, 4096> thrownAway{};
    return read(input, thrownAway.data(), thrownAway.size()) <= 0;
}

// Serves the client while it connects and, to hold it, while it is connected. False if a signal
// ended that, or standard input while the connection was held.
bool serve(Client& client, bool hold, int signals) {
    std::array<pollfd, 3> events{{{client.descriptor(), POLLIN, 0},
                                  {signals, POLLIN, 0},
                                  {hold ? STDIN_FILENO : -1, POLLIN, 0}}};
    while (client.isBusy() || (hold && client.isConnected())) {
        poll(events.data(), events.size(), timeLeft(client));
        client.onReadable();
        client.onDeadline();
        if (events[1].revents != 0 || (events[2].revents != 0 && hasEnded(STDIN_FILENO))) {
            return false;
        }
    }
    return true;
}

}  // namespace

int connect(const Options& options) {
    const int signals = stopSignalDescriptor();
    Client client(clientOptions(options));
    std::optional<Result> failure;
    client.connect([&](const Result& result) {
        if (!result.isDone()) {
            failure = result;
            return;
        }
        std::cout << "connection " << client.connectionReference() << ", revision "
                  << client.revision() << std::endl;
    });
    const bool stopped = !serve(client, options.hold, signals);
    if (failure) {
        return report(*failure);
    }
    if (options.hold && !stopped) {
        return report("the collector is gone", EX_UNAVAILABLE);
    }
    return std::cout ? EX_OK : report("cannot write the output", EX_IOERR);
}

}  // namespace Qfci
