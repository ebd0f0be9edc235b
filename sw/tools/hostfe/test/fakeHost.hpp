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

    // A file changes at once, as those of the kernel do: whoever reads it meanwhile gets one text
    // or the other.
    FakeHost& file(const std::string& name, const std::string& text) {
        const auto path = directory / name;
        const auto draft = directory / "draft";
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(draft) << text;
        std::filesystem::rename(draft, path);
        return *this;
    }
    FakeHost& folder(const std::string& name) {
        std::filesystem::create_directories(directory / name);
        return *this;
    }
    FakeHost& remove(const std::string& name) {
        std::filesystem::remove_all(directory / name);
        return *this;
    }

    // A network interface that is up and never counted an error.
    FakeHost& interface(const std::string& name, int index) {
        const std::string files = "sys/class/net/" + name;
        return file(files + "/operstate", "up\n")
            .file(files + "/carrier", "1\n")
            .file(files + "/speed", "1000\n")
            .file(files + "/statistics/rx_packets", "70\n")
            .file(files + "/statistics/rx_errors", "0\n")
            .file(files + "/ifindex", std::to_string(index) + "\n");
    }

    const std::filesystem::path& root() const { return directory; }

private:
    std::filesystem::path directory;
};

}  // namespace HostFe
