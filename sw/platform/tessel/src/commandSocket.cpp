#include "commandSocket.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "tessel/commandProtocol.hpp"
#include "tessel/commandServer.hpp"

namespace Tessel {

using Host::V1::CommandServerError;
using Reason = CommandServerError::Reason;

namespace {

constexpr mode_t directoryMode = 0750;
constexpr mode_t socketMode = 0660;

[[noreturn]] void fail(Reason reason, const std::string& what, int error) {
    throw CommandServerError(reason, what + ": " + std::system_category().message(error));
}

[[noreturn]] void failTaken(const std::string& path) {
    throw CommandServerError(Reason::Taken,
                             path +
                                 " is served by a live process; stop that one first, or give "
                                 "this one a UNIT_ROOT of its own");
}

// Only the last directory is ours to protect; those above get what the umask says.
std::string makeDirectory(const std::string& directory) {
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(directory).parent_path(), error);
    if (error) {
        fail(Reason::Directory, "cannot make " + directory, error.value());
    }
    if (mkdir(directory.c_str(), directoryMode) != 0 && errno != EEXIST) {
        fail(Reason::Directory, "cannot make " + directory, errno);
    }
    return directory;
}

// The lock goes with the process, however that ends.
int lockDirectory(const std::string& directory, const std::string& socketPath) {
    const auto path = directory + "/command.lock";
    OwnedDescriptor lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (lock.get() < 0) {
        fail(Reason::Directory, "cannot write " + path, errno);
    }
    if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        failTaken(socketPath);
    }
    return lock.release();
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        fail(Reason::Socket, path, ENAMETOOLONG);
    }
    path.copy(address.sun_path, path.size());
    return address;
}

int makeSocket() {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        fail(Reason::Socket, "cannot make a socket", errno);
    }
    return fd;
}

const sockaddr* asGeneric(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

// A server that doesn't know of the lock still answers.
void refuseLiveServer(const sockaddr_un& address, const std::string& path) {
    const OwnedDescriptor probe(makeSocket());
    if (connect(probe.get(), asGeneric(address), sizeof address) == 0 || errno == EAGAIN) {
        failTaken(path);
    }
}

void removeLeftover(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        unlink(path.c_str());
    }
}

// The mode is set before anybody can connect: nobody can before listen().
int bindSocket(const std::string& path) {
    const auto address = addressOf(path);
    refuseLiveServer(address, path);
    removeLeftover(path);
    OwnedDescriptor socket(makeSocket());
    if (bind(socket.get(), asGeneric(address), sizeof address) != 0) {
        fail(Reason::Socket, "cannot bind " + path, errno);
    }
    if (chmod(path.c_str(), socketMode) != 0) {
        fail(Reason::Socket, "cannot set the mode of " + path, errno);
    }
    return socket.release();
}

}  // namespace

CommandSocket::CommandSocket()
    : directory_(makeDirectory(CommandProtocol::runDirectory())),
      path_(CommandProtocol::socketPath()),
      lock_(lockDirectory(directory_, path_)),
      socket_(bindSocket(path_)) {}

CommandSocket::~CommandSocket() {
    unlink(path_.c_str());
}

int CommandSocket::listen() {
    if (::listen(socket_.get(), SOMAXCONN) != 0) {
        fail(Reason::Socket, "cannot listen at " + path_, errno);
    }
    return socket_.release();
}

}  // namespace Tessel
