#include "history.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Needs the declaration of FILE before it.
#include <readline/history.h>
#include <cstdio>

#include <system_error>

#include "words.hpp"

namespace Dch {

namespace {

constexpr mode_t folderMode = 0700;
constexpr mode_t fileMode = 0600;

bool makeFile(const std::filesystem::path& file) {
    std::error_code error;
    std::filesystem::create_directories(file.parent_path().parent_path(), error);
    mkdir(file.parent_path().c_str(), folderMode);
    const int fd = open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, fileMode);
    if (fd < 0) {
        return false;
    }
    close(fd);
    return true;
}

bool isLatest(const std::string& line) {
    const auto* const latest = history_length > 0 ? history_get(history_length) : nullptr;
    return latest != nullptr && line == latest->line;
}

}  // namespace

std::optional<std::filesystem::path> historyPath(const char* stateHome, const char* home) {
    const std::filesystem::path name = "qdx/history";
    if (stateHome != nullptr && *stateHome == '/') {
        return stateHome / name;
    }
    if (home != nullptr && *home == '/') {
        return home / (".local/state" / name);
    }
    return std::nullopt;
}

History::History(std::optional<std::filesystem::path> file) : file_(std::move(file)) {
    using_history();
    stifle_history(longest);
    if (file_ && !makeFile(*file_)) {
        file_.reset();
    }
    if (file_) {
        history_truncate_file(file_->c_str(), longest);
        read_history(file_->c_str());
    }
}

void History::add(const std::string& line) {
    if (splitWords(line).empty() || isLatest(line)) {
        return;
    }
    add_history(line.c_str());
    if (file_) {
        append_history(1, file_->c_str());
    }
}

}  // namespace Dch
