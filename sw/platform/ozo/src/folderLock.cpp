#include "folderLock.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "deadline.hpp"

namespace Ozo {

namespace {

constexpr int patienceMs = 2000;
constexpr std::chrono::milliseconds pause{1};

bool lock(int descriptor) {
    const Deadline deadline(patienceMs);
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || deadline.remainingMs() == 0)
            return false;
        std::this_thread::sleep_for(pause);
    }
    return true;
}

}  // namespace

FolderLock::FolderLock(const std::string& folder)
    : descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
      isHeld(descriptor.isOpen() && lock(descriptor.get())) {}

FolderLock::~FolderLock() {
    // A child forked meanwhile by another thread may still share the descriptor, and closing it
    // would then not unlock.
    if (isHeld)
        ::flock(descriptor.get(), LOCK_UN);
}

}  // namespace Ozo
