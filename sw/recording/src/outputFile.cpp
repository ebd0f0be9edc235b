#include "recording/outputFile.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Recording {

namespace {

constexpr mode_t mode = 0640;
constexpr int fifoBytes = 1024 * 1024;

[[noreturn]] void fail(const std::string& path, int error) {
    throw CannotWrite(path + ": " + std::generic_category().message(error));
}

}  // namespace

OutputFile::OutputFile(const std::string& path)
    : path_(path), fd_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode)) {
    if (fd_ < 0) {
        fail(path, errno);
    }
    // A FIFO gets the room that its reader needs to fall asleep for a while; a file has it.
    (void)fcntl(fd_, F_SETPIPE_SZ, fifoBytes);
    (void)fcntl(fd_, F_SETFL, O_NONBLOCK);
}

OutputFile::~OutputFile() {
    close(fd_);
}

void OutputFile::write(std::string_view bytes) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!bytes.empty()) {
        const auto written = ::write(fd_, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            awaitRoom(deadline);
        } else if (errno != EINTR) {
            fail(path_, errno);
        }
    }
}

void OutputFile::awaitRoom(std::chrono::steady_clock::time_point deadline) const {
    using std::chrono::milliseconds;
    pollfd room{fd_, POLLOUT, 0};
    const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left <= milliseconds(0) || poll(&room, 1, static_cast<int>(left.count())) == 0) {
        throw CannotWrite(path_ + ": its reader doesn't keep up");
    }
}

}  // namespace Recording
