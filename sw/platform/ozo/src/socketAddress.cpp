#include "socketAddress.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Ozo {

SocketAddress::SocketAddress(const std::string& folder, const std::string& file) {
    std::string path = folder + "/" + file;
    if (path.size() >= sizeof unixAddress.sun_path) {
        folderDescriptor = Descriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        failure = folderDescriptor.isOpen() ? 0 : errno;
        path = "/proc/self/fd/" + std::to_string(folderDescriptor.get()) + "/" + file;
    }
    unixAddress.sun_family = AF_UNIX;
    std::memcpy(unixAddress.sun_path, path.data(),
                std::min(path.size(), sizeof unixAddress.sun_path - 1));
}

int SocketAddress::bind(int socket) const {
    if (failure != 0)
        return failure;
    return ::bind(socket, address(), sizeof unixAddress) == 0 ? 0 : errno;
}

int SocketAddress::connect(int socket) const {
    if (failure != 0)
        return failure;
    return ::connect(socket, address(), sizeof unixAddress) == 0 ? 0 : errno;
}

}  // namespace Ozo
