#include "endSignals.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace Qdxview {

namespace {

constexpr std::array signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

std::atomic<const EventDescriptor*> told = nullptr;
std::atomic<int> latest = 0;
static_assert(std::atomic<const EventDescriptor*>::is_always_lock_free &&
                  std::atomic<int>::is_always_lock_free,
              "a signal handler uses them");

extern "C" void keepSignal(int signal) {
    const int error = errno;
    latest = signal;
    told.load()->raise();
    errno = error;
}

void handle(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    for (const int signal : signals) {
        sigaction(signal, &action, nullptr);
    }
}

}  // namespace

EndSignals::EndSignals(const EventDescriptor& event) {
    told = &event;
    latest = 0;
    handle(keepSignal);
}

EndSignals::~EndSignals() {
    handle(SIG_DFL);
    told = nullptr;
}

int EndSignals::come() {
    return latest;
}

void endBy(int signal) {
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

}  // namespace Qdxview
