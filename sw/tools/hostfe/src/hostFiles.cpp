#include "hostFiles.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace HostFe {

// Not by a stream, which throws when the file opens but its content is refused, as the kernel does
// with the speed of a link that has none.
std::string HostFiles::read(const std::string& path) const {
    // A pipe in a root for tests must not hold the frontend up.
    const int file = ::open((root / path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        return {};
    }
    std::string text;
    std::array<char, 4096> chunk{};
    ssize_t size = 0;
    while ((size = ::read(file, chunk.data(), chunk.size())) > 0) {
        text.append(chunk.data(), static_cast<std::size_t>(size));
    }
    ::close(file);
    return size == 0 ? text : std::string();
}

bool HostFiles::exists(const std::string& path) const {
    std::error_code error;
    return std::filesystem::exists(root / path, error);
}

std::vector<std::string> HostFiles::list(const std::string& path) const {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(root / path, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        names.push_back(entry->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace HostFe
