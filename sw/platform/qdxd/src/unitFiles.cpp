#include "unitFiles.hpp"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <vector>

#include "corbel/dbRegistry.hpp"
#include "ozo.h"

namespace Qdxd {

namespace fs = std::filesystem;

namespace {

std::optional<std::string> readFile(const fs::path& path) {
    std::error_code error;
    if (!fs::is_regular_file(path, error) || fs::file_size(path, error) > Recording::maxText) {
        return std::nullopt;
    }
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    return file ? std::optional(std::move(text)) : std::nullopt;
}

// The values of the attribute href, by the look of the text: one too many does no harm.
std::vector<std::string> includedBy(const std::string& text) {
    static const std::string attribute = "href=";
    std::vector<std::string> names;
    for (auto at = text.find(attribute); at != std::string::npos; at = text.find(attribute, at)) {
        at += attribute.size();
        const auto end = text.find(text[at], at + 1);
        if (end == std::string::npos) {
            break;
        }
        names.push_back(text.substr(at + 1, end - at - 1));
    }
    return names;
}

bool isListed(const std::vector<Recording::ListFile>& files, const std::string& name) {
    return std::any_of(files.begin(), files.end(),
                       [&](const auto& file) { return file.name == name; });
}

void addListFile(const fs::path& directory, const std::string& name,
                 std::vector<Recording::ListFile>& files) {
    if (isListed(files, name) || files.size() == Recording::maxListFiles) {
        return;
    }
    auto text = readFile(directory / name);
    if (!text) {
        return;
    }
    const auto included = includedBy(*text);
    files.push_back({name, *std::move(text)});
    for (const auto& further : included) {
        addListFile(directory, further, files);
    }
}

}  // namespace

Recording::Header readUnit(const std::string& databasePath) {
    const char* const root = secure_getenv("UNIT_ROOT");
    Recording::Header header;
    header.maxMessageSize = static_cast<std::uint32_t>(ozo_get_max_size());
    header.steady = std::chrono::steady_clock::now().time_since_epoch();
    header.wall = std::chrono::system_clock::now().time_since_epoch();
    header.database = readFile((root == nullptr ? "" : root) + databasePath).value_or("");
    std::string list;
    const auto database = Corbel::V1::DbRegistryIf::getInstance().openDatabase(databasePath);
    if (database->readString("/qdx/infoObjectListFilePath", list) == 0) {
        const fs::path path(list);
        addListFile(path.parent_path(), path.filename(), header.listFiles);
    }
    return header;
}

}  // namespace Qdxd
