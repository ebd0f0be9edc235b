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
#include <cstdio>
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

// 0 or errno's value.
template <typename Number>
int draw(Number& number) {
    return ::getrandom(&number, sizeof number, 0) == sizeof number ? 0 : errno;
}

// The user whose file it is, a link's own; empty if there is none.
std::optional<uid_t> ownerOfFile(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? std::optional(status.st_uid) : std::nullopt;
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
    if (const int error = bindFreeId(socket, name, id); error != 0)
        return error;
    // A link in the place of the socket would be somebody else's work; it is not followed.
    if (::fchmodat(AT_FDCWD, socketFile(id).c_str(), socketMode, AT_SYMLINK_NOFOLLOW) != 0)
        return errno;
    const int error = ::listen(socket, SOMAXCONN) == 0 ? claimName(name, id) : errno;
    sweep(id);
    return error;
}

int RunDirectory::addName(const std::string& name, std::uint32_t id) const {
    return isName(name) ? claimName(name, id) : EINVAL;
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
    const std::optional<uid_t> owner = ownerOfFile(nameLink(name));
    return owner && owner == ownerOf(id) && isLive(probe(id)) ? id : OZO_NO_MAILBOX;
}

std::uint32_t RunDirectory::locateService(const std::string& name) const {
    const std::uint32_t id = locate(name);
    const std::optional<uid_t> owner = ownerOf(id);
    return owner && isLandlord(*owner) ? id : OZO_NO_MAILBOX;
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
int RunDirectory::bindFreeId(int socket, const std::string& name, std::uint32_t& id) const {
    // The file gets the socket's mode, less the umask: closed to others from its first moment.
    if (::fchmod(socket, socketMode) != 0)
        return errno;
    while (true) {
        std::uint32_t candidate = 0;
        if (const int error = draw(candidate); error != 0)
            return error;
        const int error = tryId(socket, name, candidate);
        if (error == 0)
            id = candidate;
        if (error != EEXIST && error != EADDRINUSE)
            return error;
    }
}

// The link that tells the name comes first: once the socket is there the id is known, and somebody
// else could be faster with a link of theirs.
int RunDirectory::tryId(int socket, const std::string& name, std::uint32_t candidate) const {
    if (!isMailboxId(candidate))
        return EEXIST;
    if (const int error = link(std::string(toName) + name, idLink(candidate)); error != 0)
        return error;
    const int error = SocketAddress(mboxFolder(), std::to_string(candidate)).bind(socket);
    if (error != 0)
        ::unlink(idLink(candidate).c_str());
    return error;
}

int RunDirectory::claimName(const std::string& name, std::uint32_t id) const {
    const std::string target = std::string(toMailbox) + std::to_string(id);
    const int error = link(target, nameLink(name));
    return error == EEXIST ? replaceName(name, target) : error;
}

// The two change places, so that the name is at no moment free for others to take.
int RunDirectory::replaceName(const std::string& name, const std::string& target) const {
    const FolderLock lock(root + "/run/ozo");
    // Who held the lock may have cleared the name away.
    if (const int error = link(target, nameLink(name)); error != EEXIST)
        return error;
    if (const int error = makeReplaceable(name); error != 0)
        return error;
    // A number that nobody can guess: else somebody could have the name already.
    std::uint64_t number = 0;
    if (const int error = draw(number); error != 0)
        return error;
    const std::string wanted = nameLink(name);
    const std::string other = nameLink(std::string(".").append(std::to_string(number)));
    if (const int error = link(target, other); error != 0)
        return error;
    const bool exchanged =
        ::renameat2(AT_FDCWD, other.c_str(), AT_FDCWD, wanted.c_str(), RENAME_EXCHANGE) == 0;
    const int error = exchanged ? 0 : errno;
    // A guest's folder with something in it stays, where it is in nobody's way.
    (void)std::remove(other.c_str());
    return error;
}

// 0 if this process may put its own link in the place of that name.
int RunDirectory::makeReplaceable(const std::string& name) const {
    const std::optional<uid_t> owner = ownerOfFile(nameLink(name));
    const bool givesWay = owner && isLandlord(::geteuid()) && !isLandlord(*owner);
    const std::uint32_t id = idBehind(name);
    if (id == OZO_NO_MAILBOX)
        return givesWay ? 0 : EEXIST;
    const int error = probe(id);
    const bool counts = ownerOf(id) == owner;
    if (isDead(error) && counts)
        removeMailboxFiles(id);
    if (givesWay || isDead(error) || !counts)
        return 0;
    return isLive(error) ? EADDRINUSE : error;
}

bool RunDirectory::isLandlord(uid_t user) const {
    return user == 0 || ownerOfFile(root + "/run/ozo") == user;
}

// Who creates a mailbox clears away some that crashes left behind: names that nobody takes again
// would pile up. Further names of such a mailbox stay, as links that lead nowhere, and so do the
// files of others, unless this process may remove them.
void RunDirectory::sweep(std::uint32_t newest) const {
    const auto dead = deadMailboxes(mboxFolder(), newest, sweptAtOnce);
    if (dead.empty())
        return;
    const FolderLock lock(root + "/run/ozo");
    if (!lock.held())
        return;
    for (const std::uint32_t id : dead) {
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
