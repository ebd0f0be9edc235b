#include "signals.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace Qdxview {

namespace {

constexpr std::array ends{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

std::atomic<const EventDescriptor*> told = nullptr;
std::atomic<int> latestEnd = 0;
std::atomic<bool> stopCame = false;
static_assert(std::atomic<const EventDescriptor*>::is_always_lock_free &&
                  std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "signal handlers use them");

void tell() {
    const int error = errno;
    told.load()->raise();
    errno = error;
}

extern "C" void keepEnd(int signal) {
    latestEnd = signal;
    tell();
}

extern "C" void keepStop(int /*signal*/) {
    stopCame = true;
    tell();
}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

}  // namespace

Signals::Signals(const EventDescriptor& event) {
    told = &event;
    latestEnd = 0;
    stopCame = false;
    for (const int signal : ends) {
        handle(signal, keepEnd);
    }
    handle(SIGTSTP, keepStop);
}

Signals::~Signals() {
    for (const int signal : ends) {
        handle(signal, SIG_DFL);
    }
    handle(SIGTSTP, SIG_DFL);
    told = nullptr;
}

int Signals::end() {
    return latestEnd;
}

bool Signals::takeStop() {
    return stopCame.exchange(false);
}

void stop() {
    handle(SIGTSTP, SIG_DFL);
    std::raise(SIGTSTP);
    handle(SIGTSTP, keepStop);
}

void endBy(int signal) {
    handle(signal, SIG_DFL);
    std::raise(signal);
}

}  // namespace Qdxview
