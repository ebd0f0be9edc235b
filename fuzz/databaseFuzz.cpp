// Configuration databases: any text either opens or is refused in one line, and what opened can be
// read by any key.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "corbel/tomlDatabase.hpp"

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// A list must read as at least what its single string or wider type says.
void readAll(Corbel::V1::DbHandleIf& database, const std::string& key) {
    std::vector<unsigned char> bytes;
    std::vector<unsigned int> uints;
    std::vector<std::string> texts;
    std::string text;
    const bool hasBytes = database.readByteList(key, bytes) == 0;
    const bool hasUints = database.readUintList(key, uints) == 0;
    const bool hasTexts = database.readStringList(key, texts) == 0;
    if (hasBytes) {
        require(hasUints && std::vector<unsigned int>(bytes.begin(), bytes.end()) == uints);
    }
    if (hasUints && hasTexts) {
        require(uints.empty() && texts.empty());
    }
    if (database.readString(key, text) == 0) {
        require(hasTexts && texts == std::vector<std::string>{text});
    }
}

}  // namespace

// The first line is a key, the rest the database.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t lineEnd = input.find('\n');
    const std::string key(input.substr(0, lineEnd));
    const std::string_view text =
        lineEnd == std::string_view::npos ? std::string_view() : input.substr(lineEnd + 1);
    try {
        const auto database = Corbel::V1::parseDatabase(text, "swdb.cfg");
        readAll(*database, key);
        readAll(*database, "/qdx/enabled");
        readAll(*database, "/qdx/staticFilters/enabledByDefault");
    } catch (const std::runtime_error& error) {
        const std::string_view what = error.what();
        require(what.starts_with("swdb.cfg, line ") && what.find('\n') == std::string_view::npos);
    }
    return 0;
}
