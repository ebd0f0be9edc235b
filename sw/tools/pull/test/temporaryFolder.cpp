#include "temporaryFolder.hpp"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
    std::string name = fs::temp_directory_path() / "pull.XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make " + name);
    }
    root = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(root, ignored);
}

std::string TemporaryFolder::write(const std::string& name, std::string_view text) const {
    const auto file = root / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
    return file;
}
