// The command socket in the file system.
#pragma once

#include <string>

#include "ownedDescriptor.hpp"

namespace Tessel {

// This process's hold on the socket's path: directory, lock and bound socket. The lock settles who
// may replace the socket that a dead process left. The path goes with this object.
class CommandSocket {
public:
    // Throws CommandServerError.
    CommandSocket();
    ~CommandSocket();
    CommandSocket(const CommandSocket&) = delete;
    CommandSocket& operator=(const CommandSocket&) = delete;

    // Starts to take connections and hands over the listening descriptor. Once. Throws
    // CommandServerError.
    int listen();

private:
    const std::string directory_;
    const std::string path_;
    const OwnedDescriptor lock_;
    OwnedDescriptor socket_;
};

}  // namespace Tessel
