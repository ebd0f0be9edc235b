#include "eventDescriptor.hpp"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Qdxview {

namespace {

int makeEvent() {
    const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd < 0) {
        throw std::system_error(errno, std::system_category(), "cannot make an event descriptor");
    }
    return fd;
}

}  // namespace

EventDescriptor::EventDescriptor() : descriptor(makeEvent()) {}

EventDescriptor::~EventDescriptor() {
    close(descriptor);
}

// Both fail only where there is nothing to do: it is raised already, or isn't.
void EventDescriptor::raise() const {
    eventfd_write(descriptor, 1);
}

void EventDescriptor::clear() const {
    eventfd_t count = 0;
    eventfd_read(descriptor, &count);
}

}  // namespace Qdxview
