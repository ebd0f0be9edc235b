#include "descriptor.hpp"

#include <pthread.h>
#include <unistd.h>

#include <mutex>
#include <utility>

namespace Ozo {

// All open descriptors of the process. The list runs through the objects themselves, so that
// opening one cannot fail for memory.
class OpenDescriptors {
public:
    static OpenDescriptors& instance() {
        // Never destroyed: descriptors of static objects may close after everything else.
        static auto& all = *new OpenDescriptors;
        return all;
    }

    void add(Descriptor& descriptor) {
        const std::scoped_lock lock(mutex);
        link(descriptor);
    }

    void remove(Descriptor& descriptor) {
        const std::scoped_lock lock(mutex);
        unlink(descriptor);
    }

    void replace(Descriptor& from, Descriptor& to) {
        const std::scoped_lock lock(mutex);
        unlink(from);
        to.fd = std::exchange(from.fd, -1);
        link(to);
    }

private:
    OpenDescriptors() {
        pthread_atfork([] { instance().mutex.lock(); }, [] { instance().mutex.unlock(); },
                       [] {
                           instance().abandonAll();
                           instance().mutex.unlock();
                       });
    }

    void link(Descriptor& descriptor) {
        descriptor.previous = nullptr;
        descriptor.next = first;
        if (first != nullptr)
            first->previous = &descriptor;
        first = &descriptor;
    }

    void unlink(Descriptor& descriptor) {
        (descriptor.previous != nullptr ? descriptor.previous->next : first) = descriptor.next;
        if (descriptor.next != nullptr)
            descriptor.next->previous = descriptor.previous;
    }

    void abandonAll() {
        while (first != nullptr) {
            Descriptor& descriptor = *first;
            unlink(descriptor);
            ::close(std::exchange(descriptor.fd, -1));
        }
    }

    std::mutex mutex;
    Descriptor* first = nullptr;
};

Descriptor::Descriptor(int newFd) : fd(newFd < 0 ? -1 : newFd) {
    if (isOpen())
        OpenDescriptors::instance().add(*this);
}

Descriptor::Descriptor(Descriptor&& other) noexcept {
    take(other);
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        close();
        take(other);
    }
    return *this;
}

Descriptor::~Descriptor() {
    close();
}

void Descriptor::close() {
    if (!isOpen())
        return;
    OpenDescriptors::instance().remove(*this);
    ::close(std::exchange(fd, -1));
}

void Descriptor::take(Descriptor& other) {
    if (other.isOpen())
        OpenDescriptors::instance().replace(other, *this);
}

}  // namespace Ozo
