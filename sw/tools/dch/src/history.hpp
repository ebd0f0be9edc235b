// The lines typed in this session and those before.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace Dch {

// Where the history is kept, by the values of XDG_STATE_HOME and HOME (null if not set): nowhere
// if neither names a folder.
std::optional<std::filesystem::path> historyPath(const char* stateHome, const char* home);

// The history of the line editor, and the file that keeps it: as many lines as Bash keeps, for its
// owner alone. A file that can't be read or written is no history, without a word.
class History {
public:
    static constexpr int longest = 500;

    explicit History(std::optional<std::filesystem::path> file);

    // Keeps the line, unless it has no word or repeats the one before.
    void add(const std::string& line);

private:
    std::optional<std::filesystem::path> file_;
};

}  // namespace Dch
