// A file descriptor that closes itself, and that a forked child gives up at once.
//
// If a child kept its parent's sockets open, the parent's peers would not see it go, and the child
// could take messages meant for its parent. So every open Descriptor is known to a handler that
// runs in the child right after the fork: it closes them and leaves them empty. Whoever holds an
// empty one there knows that it belongs to another process.
//
// A descriptor that another thread is just opening while one forks can slip through; it stays open
// in the child until that ends or executes another program.
//
// Thread: each object by one thread; any thread may fork.
#pragma once

namespace Ozo {

class Descriptor {
public:
    Descriptor() = default;
    // Takes fd over; a negative one leaves the object empty.
    explicit Descriptor(int fd);
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();

    bool isOpen() const { return fd >= 0; }
    // Negative when empty.
    int get() const { return fd; }
    void close();

private:
    friend class OpenDescriptors;

    void take(Descriptor& other);

    int fd = -1;
    // Neighbours in the list of all open descriptors.
    Descriptor* previous = nullptr;
    Descriptor* next = nullptr;
};

}  // namespace Ozo
