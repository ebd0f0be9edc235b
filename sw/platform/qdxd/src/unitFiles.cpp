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
#include "includes.hpp"
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

bool isListed(const std::vector<Recording::ListFile>& files, const std::string& name) {
    return std::any_of(files.begin(), files.end(),
                       [&](const auto& file) { return file.name == name; });
}

// The directory ends with its "/", or is empty; to an absolute name, too, it is only put in front.
void addListFile(const std::string& directory, const std::string& name,
                 std::vector<Recording::ListFile>& files) {
    if (isListed(files, name) || files.size() == Recording::maxListFiles) {
        return;
    }
    auto text = readFile(directory + name);
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
        const auto nameBegin = list.rfind('/') + 1;
        addListFile(list.substr(0, nameBegin), list.substr(nameBegin), header.listFiles);
    }
    return header;
}

}  // namespace Qdxd
