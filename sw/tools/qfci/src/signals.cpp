#include "signals.hpp"

#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace Qfci {

namespace {

volatile std::sig_atomic_t caught = 0;

}  // namespace

void catchStopSignals() {
    struct sigaction action {};
    action.sa_handler = [](int number) { caught = number; };
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int caughtSignal() {
    return caught;
}

int stopSignalDescriptor() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
    return descriptor;
}

}  // namespace Qfci
