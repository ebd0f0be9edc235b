#include <sysexits.h>

#include <chrono>
#include <cstdio>

#include "commands.hpp"
#include "control/blockingClient.hpp"
#include "exitStatus.hpp"

namespace Qfci {

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

}  // namespace

int ping(const Options& options) {
    Qdx::Control::BlockingClient client(clientOptions(options));
    const auto begin = std::chrono::steady_clock::now();
    auto result = client.connect();
    const auto connected = std::chrono::steady_clock::now();
    if (result.isDone()) {
        result = client.exchangeCapabilities();
    }
    const auto end = std::chrono::steady_clock::now();
    if (!result.isDone()) {
        return report(result);
    }
    std::printf("round trip %.3f ms (connected in %.3f ms)\n",
                Milliseconds(end - connected).count(), Milliseconds(connected - begin).count());
    return std::fflush(stdout) == 0 ? EX_OK : report("cannot write the output", EX_IOERR);
}

}  // namespace Qfci
