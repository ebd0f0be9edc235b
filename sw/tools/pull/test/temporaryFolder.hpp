// A folder that goes with its test.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    // Writes a file and returns its path.
    std::string write(const std::string& name, std::string_view text) const;

    std::string path(const std::string& name) const { return root / name; }

private:
    std::filesystem::path root;
};
