// A descriptor that becomes readable when something has happened.
#pragma once

namespace Qdxview {

// Any thread and any signal handler may raise it. Throws std::system_error when there are no
// descriptors left.
class EventDescriptor {
public:
    EventDescriptor();
    ~EventDescriptor();
    EventDescriptor(const EventDescriptor&) = delete;
    EventDescriptor& operator=(const EventDescriptor&) = delete;

    int fd() const { return descriptor; }
    void raise() const;
    // Readable no more, until it is raised again.
    void clear() const;

private:
    const int descriptor;
};

}  // namespace Qdxview
