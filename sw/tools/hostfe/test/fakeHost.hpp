// A machine made of files.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace HostFe {

// A directory of its own, removed at the end, in which a test writes what a machine would tell.
class FakeHost {
public:
    FakeHost() {
        std::string pattern = (std::filesystem::temp_directory_path() / "hostXXXXXX").string();
        directory = ::mkdtemp(pattern.data());
    }
    FakeHost(const FakeHost&) = delete;
    FakeHost& operator=(const FakeHost&) = delete;
    ~FakeHost() { std::filesystem::remove_all(directory); }

    FakeHost& file(const std::string& name, const std::string& text) {
        std::filesystem::create_directories((directory / name).parent_path());
        std::ofstream(directory / name) << text;
        return *this;
    }
    FakeHost& folder(const std::string& name) {
        std::filesystem::create_directories(directory / name);
        return *this;
    }
    const std::filesystem::path& root() const { return directory; }

private:
    std::filesystem::path directory;
};

}  // namespace HostFe
