// Where a mailbox listens: a socket file, however long the path of its folder is.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>

#include "descriptor.hpp"

namespace Ozo {

// A socket address holds 107 characters of a path. A longer one goes by way of a descriptor of the
// folder, as /proc/self/fd/<descriptor>/<file>. The plain path is taken where it fits because `ss
// -x` then shows operators the true one.
class SocketAddress {
public:
    SocketAddress(const std::string& folder, const std::string& file);

    // 0 or errno's value.
    int bind(int socket) const;
    int connect(int socket) const;

private:
    const sockaddr* address() const { return reinterpret_cast<const sockaddr*>(&unixAddress); }

    Descriptor folderDescriptor;
    int failure = 0;
    sockaddr_un unixAddress{};
};

}  // namespace Ozo
