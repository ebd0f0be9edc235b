#include "listFolder.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace Replay {

namespace fs = std::filesystem;

namespace {

// More than any path of a unit has, and few enough for the folder to be removed again: that holds
// a descriptor for each level.
constexpr std::size_t mostSteps = 100;

// From the list's directory to a file; the last is the file's own name.
using Steps = std::vector<std::string>;

// Nothing for a name that leads to no file.
std::optional<Steps> stepsOf(const std::string& name) {
    if (name.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    Steps steps;
    std::string_view last;
    for (std::size_t begin = 0; begin <= name.size();) {
        const auto end = std::min(name.find('/', begin), name.size());
        last = std::string_view(name).substr(begin, end - begin);
        if (!last.empty() && last != ".") {
            steps.emplace_back(last);
        }
        begin = end + 1;
    }
    const bool namesAFile = !last.empty() && last != "." && last != "..";
    return namesAFile && steps.size() <= mostSteps ? std::optional(std::move(steps)) : std::nullopt;
}

// How far above the list's directory they come on their way.
std::size_t climb(const Steps& steps) {
    std::size_t above = 0;
    std::size_t below = 0;
    std::size_t highest = 0;
    for (const auto& step : steps) {
        if (step != "..") {
            above > 0 ? --above : ++below;
        } else if (below > 0) {
            --below;
        } else {
            highest = std::max(highest, ++above);
        }
    }
    return highest;
}

using Texts = std::vector<std::pair<Steps, std::string_view>>;

// No file is to come into the list's directory by another way than its own.
std::string unusedStep(const Texts& texts) {
    std::string unused = "d";
    const auto takes = [&](const auto& text) {
        return std::ranges::find(text.first, unused) != text.first.end();
    };
    while (std::ranges::any_of(texts, takes)) {
        unused += 'd';
    }
    return unused;
}

// The list's directory.
fs::path makeStart(fs::path start, const Texts& texts) {
    std::size_t depth = 0;
    for (const auto& [steps, text] : texts) {
        depth = std::max(depth, climb(steps));
    }
    const auto step = unusedStep(texts);
    for (; depth > 0; --depth) {
        start /= step;
        fs::create_directory(start);
    }
    return start;
}

void writeFile(const fs::path& path, std::string_view text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush()) {
        throw std::runtime_error(path.string() + ": cannot be written");
    }
}

// Makes the directories on the way, also those that ".." leaves again.
//
// REQUIRES: start is as deep below an own folder as the steps climb.
void lay(fs::path start, const Steps& steps, std::string_view text) {
    for (auto step = steps.begin(); step != std::prev(steps.end()); ++step) {
        if (*step == "..") {
            start = start.parent_path();
        } else {
            start /= *step;
            fs::create_directory(start);
        }
    }
    writeFile(start / steps.back(), text);
}

}  // namespace

ListFolder::TemporaryFolder::TemporaryFolder() {
    auto pattern = (fs::temp_directory_path() / "replay.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error(pattern + ": " + std::strerror(errno));
    }
    path_ = pattern;
}

ListFolder::TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

ListFolder::ListFolder(const std::vector<Recording::ListFile>& files) {
    Texts texts;
    for (const auto& file : files) {
        if (auto steps = stepsOf(file.name)) {
            texts.emplace_back(*std::move(steps), file.text);
        }
    }
    const auto start = makeStart(folder_.path(), texts);
    for (const auto& [steps, text] : texts) {
        lay(start, steps, text);
    }
    directory_ = start.string() + '/';
    const bool hasList = !files.empty() && stepsOf(files.front().name);
    listPath_ = directory_ + (hasList ? files.front().name : "infoObjectList.xml");
}

}  // namespace Replay
