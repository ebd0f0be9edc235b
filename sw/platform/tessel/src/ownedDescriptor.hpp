// A file descriptor with an owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace Tessel {

// A descriptor that is closed with its owner.
class OwnedDescriptor {
public:
    explicit OwnedDescriptor(int fd = -1) : fd_(fd) {}
    ~OwnedDescriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;

    int get() const { return fd_; }
    // The descriptor, the caller's from now on.
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_;
};

}  // namespace Tessel
