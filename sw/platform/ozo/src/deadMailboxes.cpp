#include "deadMailboxes.hpp"

#include <dirent.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <memory>
#include <string_view>
#include <system_error>

#include "descriptor.hpp"
#include "socketAddress.hpp"

namespace Ozo {

namespace {

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

std::vector<std::uint32_t> idsIn(const std::string& path) {
    std::vector<std::uint32_t> ids;
    const std::unique_ptr<DIR, CloseFolder> folder(::opendir(path.c_str()));
    while (const dirent* const entry = folder ? ::readdir(folder.get()) : nullptr) {
        const std::string_view name = static_cast<const char*>(entry->d_name);
        std::uint32_t id = 0;
        const auto [last, fault] = std::from_chars(name.begin(), name.end(), id);
        if (fault == std::errc{} && last == name.end())
            ids.push_back(id);
    }
    return ids;
}

// A socket of another type is never let in: where somebody holds the mailbox, the answer is
// EPROTOTYPE.
bool isDead(int otherTypeOfSocket, const std::string& folder, std::uint32_t id) {
    return SocketAddress(folder, std::to_string(id)).connect(otherTypeOfSocket) == ECONNREFUSED;
}

}  // namespace

std::vector<std::uint32_t> deadMailboxes(const std::string& folder, std::uint32_t behind,
                                         std::size_t most) {
    auto ids = idsIn(folder);
    const auto lookedAt = ids.begin() + static_cast<std::ptrdiff_t>(std::min(most, ids.size()));
    std::partial_sort(ids.begin(), lookedAt, ids.end(), [behind](std::uint32_t a, std::uint32_t b) {
        return a - behind - 1 < b - behind - 1;
    });
    ids.erase(lookedAt, ids.end());
    const Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    std::erase_if(ids, [&](std::uint32_t id) { return !isDead(socket.get(), folder, id); });
    return ids;
}

}  // namespace Ozo
