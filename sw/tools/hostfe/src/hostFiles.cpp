#include "hostFiles.hpp"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace HostFe {

std::string HostFiles::read(const std::string& path) const {
    std::ifstream file(root / path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
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
