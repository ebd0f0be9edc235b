// The list files of a recording, as files for the collector to read.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "recording/entry.hpp"

namespace Replay {

// Lays the files into a new folder, which goes with the object. The list's own directory lies as
// deep in it as the names of the files climb with "..", so that each file is where the collector
// looks for it, and none outside of the folder, whoever made the recording. Names that can't have
// led a collector to a file are left out.
class ListFolder {
public:
    // Throws std::runtime_error if a file can't be written.
    explicit ListFolder(const std::vector<Recording::ListFile>& files);

    // Of the list, with its "/" at the end.
    const std::string& directory() const { return directory_; }
    // Of the first file; where it would be, if there is none.
    const std::string& listPath() const { return listPath_; }

private:
    class TemporaryFolder {
    public:
        TemporaryFolder();
        ~TemporaryFolder();
        TemporaryFolder(const TemporaryFolder&) = delete;
        TemporaryFolder& operator=(const TemporaryFolder&) = delete;

        const std::filesystem::path& path() const { return path_; }

    private:
        std::filesystem::path path_;
    };

    const TemporaryFolder folder_;
    std::string directory_;
    std::string listPath_;
};

}  // namespace Replay
