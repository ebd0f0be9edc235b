#include "output.hpp"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Dch {

namespace {

void writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto written = write(fd, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            throw OutputLost{};
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::system_category(), "cannot write the output");
        }
    }
}

}  // namespace

void writeOutput(std::string_view bytes) {
    writeAll(STDOUT_FILENO, bytes);
}

void writeError(std::string_view bytes) {
    writeAll(STDERR_FILENO, bytes);
}

}  // namespace Dch
