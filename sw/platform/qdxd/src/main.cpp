// Loads the collector, serves its commands and stops it in good order.
#include <malloc.h>
#include <pthread.h>
#include <sysexits.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bevel/cmdTableHelper.hpp"
#include "commandLine/fault.hpp"
#include "corbel/dbRegistry.hpp"
#include "options.hpp"
#include "participantLibrary.hpp"
#include "recorder.hpp"
#include "serviceManager.hpp"
#include "tessel/commandProtocol.hpp"
#include "tessel/commandServer.hpp"
#include "tessel/host.hpp"
#include "unitFiles.hpp"

namespace {

using Qdxd::Recorder;
using Tessel::Host::V1::CommandServer;
using Tessel::Host::V1::CommandServerError;
using Tessel::Host::V1::CommandTableRow;
using Tessel::Host::V1::Host;

constexpr const char* database = "/opt/zelvasw/srv/database/qdx/swdb.cfg";

// Long enough for a large catalogue to be read.
constexpr auto startPatience = std::chrono::seconds(60);
// For each of the steps of stopping; together well under the 90 s after which a service manager
// kills.
constexpr auto stopPatience = std::chrono::seconds(15);
// For clients to take the output of commands that have run.
constexpr auto clientPatience = std::chrono::seconds(5);

class Failure : public std::runtime_error {
public:
    Failure(int exitStatus, const std::string& text) : runtime_error(text), status(exitStatus) {}

    const int status;
};

void say(const std::string& line) {
    std::cerr << ("qdxd: " + line + '\n') << std::flush;
}

// The signals that stop the process wait until they are asked for, on whatever thread they arrive.
sigset_t holdStopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

std::string awaitStopSignal(const sigset_t& signals) {
    int signal = 0;
    sigwait(&signals, &signal);
    return signal == SIGINT ? "SIGINT" : "SIGTERM";
}

void checkDatabase() {
    try {
        Corbel::V1::DbRegistryIf::getInstance().openDatabase(database);
    } catch (const std::exception& error) {
        throw Failure(EX_CONFIG, error.what());
    }
}

std::optional<std::vector<CommandTableRow>> commandTable(const std::string& word) {
    const auto table = Bevel::CmdTableHelper::V2::CmdTableHelperIf::getInstance().getCmdTable(word);
    if (!table) {
        return std::nullopt;
    }
    std::vector<CommandTableRow> rows;
    for (const auto& row : *table) {
        rows.push_back({row.syntax, row.help});
    }
    return rows;
}

// Before signals are held: a FIFO without a reader would have the process wait for good.
std::unique_ptr<Recorder> startRecording(const std::string& path) {
    if (path.empty()) {
        return nullptr;
    }
    checkDatabase();
    try {
        auto recorder = std::make_unique<Recorder>(path, Qdxd::readUnit(database), say);
        Tessel::Host::V1::setObserver(recorder.get());
        return recorder;
    } catch (const Recording::CannotWrite& error) {
        throw Failure(EX_CANTCREAT, std::string("cannot record to ") + error.what());
    }
}

void loadLibraries(const std::vector<std::string>& libraries) {
    try {
        for (const auto& library : libraries) {
            Qdxd::loadParticipantLibrary(library);
        }
    } catch (const std::exception& error) {
        throw Failure(EX_UNAVAILABLE, error.what());
    }
}

void startParticipants(Host& host) {
    std::size_t started = 0;
    try {
        started = host.startParticipants();
    } catch (const std::exception& error) {
        throw Failure(EX_SOFTWARE, std::string("a participant cannot start: ") + error.what());
    } catch (...) {
        throw Failure(EX_SOFTWARE, "a participant cannot start: unknown exception");
    }
    if (started == 0) {
        throw Failure(EX_UNAVAILABLE, "no library that was loaded registers a participant");
    }
    if (!host.waitUntilStarted(startPatience)) {
        throw Failure(EX_SOFTWARE, "a participant's start does not come to an end");
    }
}

int statusOf(CommandServerError::Reason reason) {
    switch (reason) {
        case CommandServerError::Reason::Directory:
            return EX_CANTCREAT;
        case CommandServerError::Reason::Taken:
            return EX_TEMPFAIL;
        case CommandServerError::Reason::Socket:
            break;
    }
    return EX_OSERR;
}

// Without this, a thread that is stuck would meet the static objects on their way out.
[[noreturn]] void giveUp(const std::string& what) {
    say(what);
    std::_Exit(EX_SOFTWARE);
}

void stop(Host& host, CommandServer& server) {
    if (!host.stopDelivery(stopPatience)) {
        giveUp("a handler does not come to an end; stopping without it");
    }
    server.stop(clientPatience);
    host.releaseParticipants();
    if (!host.finish(stopPatience)) {
        giveUp("an active object does not come to an end; stopping without it");
    }
}

void run(const Qdxd::Options& options, const sigset_t& stopSignals) {
    checkDatabase();
    CommandServer server(commandTable);
    Host host;
    try {
        loadLibraries(options.libraries);
        startParticipants(host);
        server.serve();
        say("ready, commands at " + Tessel::CommandProtocol::socketPath());
        Qdxd::notifyServiceManager("READY=1");
        say("stopping on " + awaitStopSignal(stopSignals));
        Qdxd::notifyServiceManager("STOPPING=1");
    } catch (...) {
        stop(host, server);
        throw;
    }
    stop(host, server);
}

// What a large pull takes goes back to the system as soon as it has left, whatever lies behind it
// on the heap. Left to itself the allocator learns from the first large block to keep such blocks.
void giveLargeBlocksBack() {
    constexpr int large = 128 * 1024;
    ::mallopt(M_MMAP_THRESHOLD, large);
}

int run(int argc, char** argv) {
    int status = EX_OK;
    const auto options = Qdxd::parseOptions(argc, argv, status);
    if (!options) {
        return status;
    }
    std::signal(SIGPIPE, SIG_IGN);
    giveLargeBlocksBack();
    try {
        const auto recorder = startRecording(options->recording);
        const auto stopSignals = holdStopSignals();
        run(*options, stopSignals);
        say("stopped");
    } catch (const Failure& failure) {
        say(failure.what());
        status = failure.status;
    } catch (const CommandServerError& error) {
        say(error.what());
        status = statusOf(error.reason);
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    return Qdx::CommandLine::guarded("qdxd", EX_SOFTWARE, [&] { return run(argc, argv); });
}
