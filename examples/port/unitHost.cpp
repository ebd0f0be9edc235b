// The least process that runs the collector: unitHost LIBRARY. It brings the platform's services;
// the library finds them in it.
#include <dlfcn.h>
#include <sysexits.h>

#include <chrono>
#include <csignal>
#include <iostream>

#include "bevel/cmdTableHelper.hpp"
#include "tessel/commandServer.hpp"
#include "tessel/host.hpp"

namespace {

using namespace std::chrono_literals;
using Bevel::CmdTableHelper::V2::CmdTableHelperIf;
using Tessel::Host::V1::CommandServer;
using Tessel::Host::V1::CommandTableRow;

constexpr auto patience = 30s;

std::optional<std::vector<CommandTableRow>> tableOf(const std::string& word) {
    const auto table = CmdTableHelperIf::getInstance().getCmdTable(word);
    if (!table) {
        return std::nullopt;
    }
    std::vector<CommandTableRow> rows;
    for (const auto& row : *table) {
        rows.push_back({row.syntax, row.help});
    }
    return rows;
}

int fail(const std::string& what, int status) {
    std::cerr << "unitHost: " + what + '\n';
    return status;
}

// Before there are threads, so that all of them leave the signal to main().
sigset_t holdStopSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return fail("usage: unitHost LIBRARY", EX_USAGE);
    }
    const auto signals = holdStopSignal();
    CommandServer server(tableOf);
    Tessel::Host::V1::Host host;

    // Loading registers the participant; nothing of it runs yet.
    if (dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) == nullptr) {
        return fail(dlerror(), EX_UNAVAILABLE);
    }
    host.startParticipants();
    host.waitUntilStarted(patience);
    server.serve();
    std::cerr << "unitHost: ready\n";

    int signal = 0;
    sigwait(&signals, &signal);

    host.stopDelivery(patience);
    server.stop(patience);
    host.releaseParticipants();
    return host.finish(patience) ? EX_OK : fail("a thread does not end", EX_SOFTWARE);
}
