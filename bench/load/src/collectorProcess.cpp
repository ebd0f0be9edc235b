#include "collectorProcess.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "tessel/commandProtocol.hpp"

namespace QdxLoad {
namespace {

// Of the process that listens at the path.
std::optional<pid_t> ownerOf(int connection, const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.copy(address.sun_path, sizeof(address.sun_path) - 1) < path.size() ||
        ::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        return std::nullopt;
    }
    ucred owner{};
    socklen_t size = sizeof(owner);
    if (::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &owner, &size) != 0) {
        return std::nullopt;
    }
    return owner.pid;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

std::optional<pid_t> findCollector() {
    const int connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connection < 0) {
        return std::nullopt;
    }
    const auto owner = ownerOf(connection, Tessel::CommandProtocol::socketPath());
    ::close(connection);
    return owner;
}

std::optional<ProcessUse> readUse(pid_t process) {
    const auto directory = "/proc/" + std::to_string(process);
    return parseUse(contentOf(directory + "/stat"), contentOf(directory + "/status"),
                    ::sysconf(_SC_CLK_TCK));
}

std::optional<ProcessUse> parseUse(const std::string& stat, const std::string& status,
                                   long ticksPerSecond) {
    constexpr std::string_view peakLabel = "\nVmHWM:";
    // The name may hold blanks and parentheses; state is the first field behind it, and the times
    // are the 12th and 13th.
    constexpr int userTimeBehindName = 12;
    const auto nameEnd = stat.rfind(')');
    const auto peakLine = status.find(peakLabel);
    if (nameEnd == std::string::npos || peakLine == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(stat.substr(nameEnd + 1));
    std::string skipped;
    for (int field = 1; field < userTimeBehindName; ++field) {
        fields >> skipped;
    }
    std::uint64_t user = 0;
    std::uint64_t kernel = 0;
    std::uint64_t peak = 0;
    std::istringstream memory(status.substr(peakLine + peakLabel.size()));
    if (!(fields >> user >> kernel) || !(memory >> peak)) {
        return std::nullopt;
    }
    return ProcessUse{
        .cpuSeconds = static_cast<double>(user + kernel) / static_cast<double>(ticksPerSecond),
        .peakKibibytes = peak};
}

}  // namespace QdxLoad
