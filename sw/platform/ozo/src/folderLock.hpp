// Keeps other processes and threads out while the files of a folder are changed.
#pragma once

#include <string>

#include "descriptor.hpp"

namespace Ozo {

// Holds the lock of a folder (flock) for the object's life. The lock goes with a process that dies.
// It keeps those apart who mean well. One that is stopped while it holds the lock, or keeps it to
// hinder others, makes them wait for two seconds each; they then go on without it.
class FolderLock {
public:
    explicit FolderLock(const std::string& folder);
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    ~FolderLock();

    // False if it went on without it.
    bool held() const { return isHeld; }

private:
    Descriptor descriptor;
    bool isHeld = false;
};

}  // namespace Ozo
