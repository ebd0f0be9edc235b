#include "participantLibrary.hpp"

#include <dlfcn.h>

#include <array>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace Qdxd {

namespace fs = std::filesystem;

namespace {

constexpr const char* collectorLibrary = "libqdxbe.so";

bool isThere(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

}  // namespace

std::string findCollectorLibrary() {
    std::error_code ignored;
    const auto beside = fs::read_symlink("/proc/self/exe", ignored).parent_path();
    const std::array<fs::path, 2> directories{beside, beside.parent_path() / QDX_LIBRARY_DIR};
    for (const auto& directory : directories) {
        if (isThere(directory / collectorLibrary)) {
            return directory / collectorLibrary;
        }
    }
    return collectorLibrary;
}

void loadParticipantLibrary(const std::string& path) {
    const auto name = isThere(path) ? fs::absolute(path).string() : path;
    // All symbols now: what this process lacks should show here, not in the middle of the work.
    if (dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr) {
        throw std::runtime_error("cannot load the library " + path + ": " + dlerror());
    }
}

}  // namespace Qdxd
