// Keeps other processes and threads out while the files of a folder are changed.
#pragma once

#include <string>

#include "descriptor.hpp"

namespace Ozo {

// Holds the lock of a folder (flock) for the object's life. The lock goes with a process that dies.
// One that is stopped while it holds the lock keeps the others waiting for two seconds each; they
// then fail, instead of hanging with it.
class FolderLock {
public:
    explicit FolderLock(const std::string& folder);
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    ~FolderLock();

    // 0 if the lock is held, ETIMEDOUT if it is not to be had, or what else stood in the way.
    int error() const { return failure; }

private:
    Descriptor descriptor;
    int failure = 0;
};

}  // namespace Ozo
