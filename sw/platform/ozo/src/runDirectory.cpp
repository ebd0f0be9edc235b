#include "runDirectory.hpp"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "deadMailboxes.hpp"
#include "folderLock.hpp"
#include "frame.hpp"
#include "ozo.h"
#include "socketAddress.hpp"

namespace Ozo {

namespace {

constexpr mode_t folderMode = 0750;
constexpr mode_t socketMode = 0660;
constexpr std::string_view toMailbox = "../mbox/";
constexpr std::string_view toName = "../name/";
constexpr std::size_t sweptAtOnce = 16;

bool isName(const std::string& name) {
    return !name.empty() && name.size() <= NAME_MAX && name.find('/') == std::string::npos &&
           name != "." && name != "..";
}

// mkdir leaves out what the umask forbids; the group must get in whatever that is.
int makeFolder(const std::string& path) {
    if (::mkdir(path.c_str(), folderMode) != 0)
        return errno == EEXIST ? 0 : errno;
    return ::chmod(path.c_str(), folderMode) == 0 ? 0 : errno;
}

// What a link leads to, behind that prefix; empty if there is no such link.
std::string targetBehind(const std::string& link, std::string_view prefix) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlink(link.c_str(), target.data(), target.size());
    const std::string_view text(target.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    return std::string(text.starts_with(prefix) ? text.substr(prefix.size()) : "");
}

std::uint32_t parseId(const std::string& text) {
    std::uint32_t id = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, id);
    return error == std::errc{} && last == end && isMailboxId(id) ? id : OZO_NO_MAILBOX;
}

int link(const std::string& target, const std::string& path) {
    return ::symlink(target.c_str(), path.c_str()) == 0 ? 0 : errno;
}

bool isDead(int connectError) {
    return connectError == ECONNREFUSED || connectError == ENOENT;
}

// A full backlog refuses for the moment, but only a mailbox that lives has one.
bool isLive(int connectError) {
    return connectError == 0 || connectError == EAGAIN;
}

}  // namespace

RunDirectory::RunDirectory(std::string unitRoot) : root(std::move(unitRoot)) {}

RunDirectory RunDirectory::current() {
    const char* const unitRoot = ::secure_getenv("UNIT_ROOT");
    return RunDirectory(unitRoot == nullptr ? "" : unitRoot);
}

int RunDirectory::publish(int socket, const std::string& name, std::uint32_t& id) const {
    if (!isName(name))
        return EINVAL;
    if (const int error = makeFolders(); error != 0)
        return error;
    const FolderLock lock(root + "/run/ozo");
    if (lock.error() != 0)
        return lock.error();
    if (const int error = bindFreeId(socket, id); error != 0)
        return error;
    int error = ::chmod(socketFile(id).c_str(), socketMode) == 0 ? 0 : errno;
    if (error == 0 && ::listen(socket, SOMAXCONN) != 0)
        error = errno;
    if (error == 0)
        error = claimName(name, id);
    if (error == 0)
        error = link(std::string(toName) + name, idLink(id));
    sweep(id);
    return error;
}

int RunDirectory::addName(const std::string& name, std::uint32_t id) const {
    if (!isName(name))
        return EINVAL;
    const FolderLock lock(root + "/run/ozo");
    return lock.error() != 0 ? lock.error() : claimName(name, id);
}

void RunDirectory::remove(std::uint32_t id, std::span<const std::string> names) const {
    for (const std::string& name : names) {
        if (idBehind(name) == id)
            ::unlink(nameLink(name).c_str());
    }
    removeMailboxFiles(id);
}

std::uint32_t RunDirectory::locate(const std::string& name) const {
    if (!isName(name))
        return OZO_NO_MAILBOX;
    const std::uint32_t id = idBehind(name);
    return id != OZO_NO_MAILBOX && isLive(probe(id)) ? id : OZO_NO_MAILBOX;
}

std::optional<std::string> RunDirectory::nameOf(std::uint32_t id) const {
    std::string name = targetBehind(idLink(id), toName);
    return isName(name) ? std::optional(std::move(name)) : std::nullopt;
}

std::optional<uid_t> RunDirectory::ownerOf(std::uint32_t id) const {
    struct stat status {};
    if (::lstat(socketFile(id).c_str(), &status) != 0 || !S_ISSOCK(status.st_mode))
        return std::nullopt;
    return status.st_uid;
}

int RunDirectory::connect(int socket, std::uint32_t id) const {
    return SocketAddress(mboxFolder(), std::to_string(id)).connect(socket);
}

int RunDirectory::makeFolders() const {
    for (const char* folder :
         {"/run", "/run/ozo", "/run/ozo/mbox", "/run/ozo/name", "/run/ozo/id"}) {
        if (const int error = makeFolder(root + folder); error != 0)
            return error;
    }
    return 0;
}

// Ids are drawn at random: a message meant for a mailbox that is gone should not reach the next
// one.
int RunDirectory::bindFreeId(int socket, std::uint32_t& id) const {
    // The file gets the socket's mode, less the umask: closed to others from its first moment.
    if (::fchmod(socket, socketMode) != 0)
        return errno;
    while (true) {
        std::uint32_t candidate = 0;
        if (::getrandom(&candidate, sizeof candidate, 0) != sizeof candidate)
            return errno;
        if (!isMailboxId(candidate))
            continue;
        const int error = SocketAddress(mboxFolder(), std::to_string(candidate)).bind(socket);
        if (error == 0)
            id = candidate;
        if (error != EADDRINUSE)
            return error;
    }
}

// REQUIRES: the lock is held.
int RunDirectory::claimName(const std::string& name, std::uint32_t id) const {
    const std::string target = std::string(toMailbox) + std::to_string(id);
    const int error = link(target, nameLink(name));
    if (error != EEXIST)
        return error;
    const int stillThere = removeIfDead(name);
    return stillThere != 0 ? stillThere : link(target, nameLink(name));
}

int RunDirectory::removeIfDead(const std::string& name) const {
    const std::uint32_t id = idBehind(name);
    if (id == OZO_NO_MAILBOX)
        return EEXIST;
    const int error = probe(id);
    if (!isDead(error))
        return isLive(error) ? EADDRINUSE : error;
    removeMailboxFiles(id);
    return ::unlink(nameLink(name).c_str()) == 0 ? 0 : errno;
}

// Who creates a mailbox clears away some that crashes left behind: names that nobody takes again
// would pile up. Further names of such a mailbox stay, as links that lead nowhere. REQUIRES: the
// lock is held.
void RunDirectory::sweep(std::uint32_t newest) const {
    for (const std::uint32_t id : deadMailboxes(mboxFolder(), newest, sweptAtOnce)) {
        const auto name = nameOf(id);
        if (name && idBehind(*name) == id)
            ::unlink(nameLink(*name).c_str());
        removeMailboxFiles(id);
    }
}

std::uint32_t RunDirectory::idBehind(const std::string& name) const {
    return parseId(targetBehind(nameLink(name), toMailbox));
}

int RunDirectory::probe(std::uint32_t id) const {
    const Descriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    return socket.isOpen() ? connect(socket.get(), id) : errno;
}

void RunDirectory::removeMailboxFiles(std::uint32_t id) const {
    ::unlink(idLink(id).c_str());
    ::unlink(socketFile(id).c_str());
}

}  // namespace Ozo
