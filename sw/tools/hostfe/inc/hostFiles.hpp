// The files in which a Linux machine tells about itself.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace HostFe {

// Reads files below a root, "/" on the machine itself. Files that aren't there are no error:
// machines differ in what they have. Any thread may call.
class HostFiles {
public:
    explicit HostFiles(std::filesystem::path rootPath) : root(std::move(rootPath)) {}

    // The text of a file, "proc/stat"; empty if there is none or it can't be read.
    std::string read(const std::string& path) const;

    // True if there is something of that name.
    bool exists(const std::string& path) const;

    // The names in a directory, sorted; none if there is no such directory.
    std::vector<std::string> list(const std::string& path) const;

private:
    std::filesystem::path root;
};

}  // namespace HostFe
