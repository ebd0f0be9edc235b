#include "interrupts.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>

namespace Dch {

namespace {

constexpr int nowhere = -1;
std::atomic<int> told{nowhere};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "a signal handler reads it");

extern "C" void tellOfInterrupt(int /*signal*/) {
    const int error = errno;
    const std::uint64_t once = 1;
    // It fails only where too many to count have come.
    [[maybe_unused]] const auto written = write(told, &once, sizeof once);
    errno = error;
}

std::atomic<bool> continued = false;

extern "C" void tellOfContinuation(int /*signal*/) {
    continued = true;
}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

int makeEvent() {
    const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd < 0) {
        throw std::system_error(errno, std::system_category(), "cannot watch for Ctrl-C");
    }
    return fd;
}

}  // namespace

Interrupts::Interrupts() : fd_(makeEvent()) {
    told = fd_;
    watch();
    handle(SIGCONT, tellOfContinuation);
}

Interrupts::~Interrupts() {
    handle(SIGINT, SIG_DFL);
    handle(SIGCONT, SIG_DFL);
    told = nowhere;
    close(fd_);
}

void Interrupts::watch() const {
    handle(SIGINT, tellOfInterrupt);
}

bool Interrupts::takeContinuation() {
    return continued.exchange(false);
}

bool Interrupts::pending() const {
    pollfd event{fd_, POLLIN, 0};
    return poll(&event, 1, 0) > 0;
}

bool Interrupts::take() const {
    std::uint64_t count = 0;
    return read(fd_, &count, sizeof count) > 0;
}

}  // namespace Dch
