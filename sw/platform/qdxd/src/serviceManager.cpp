#include "serviceManager.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>

namespace Qdxd {

void notifyServiceManager(std::string_view state) {
    const char* const name = secure_getenv("NOTIFY_SOCKET");
    const std::string_view path = name == nullptr ? "" : name;
    sockaddr_un address{};
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        return;
    }
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    // "@" stands for the NUL in front of a name that isn't in the file system.
    if (path.front() == '@') {
        address.sun_path[0] = '\0';
    }
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return;
    }
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    sendto(fd, state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
           reinterpret_cast<const sockaddr*>(&address), size);
    close(fd);
}

}  // namespace Qdxd
