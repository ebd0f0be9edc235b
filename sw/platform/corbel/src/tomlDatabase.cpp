#include "corbel/tomlDatabase.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#define TOML_EXCEPTIONS 0
#define TOML_HEADER_ONLY 1
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

namespace Corbel::V1 {
namespace {

constexpr int success = 0;
constexpr int missing = 1;

template <typename T>
std::optional<T> readUnsigned(const toml::node& node) {
    const auto* integer = node.as_integer();
    if (integer == nullptr || !std::in_range<T>(integer->get())) {
        return std::nullopt;
    }
    return static_cast<T>(integer->get());
}

std::optional<std::string> readText(const toml::node& node) {
    const auto* text = node.as_string();
    if (text == nullptr) {
        return std::nullopt;
    }
    return text->get();
}

// The values of an array, or the one value of any other node; empty if read refuses one of them.
template <typename T>
std::optional<std::vector<T>> readList(const toml::node& node,
                                       std::optional<T> (*read)(const toml::node&)) {
    std::vector<T> values;
    const auto append = [&](const toml::node& element) {
        auto value = read(element);
        if (!value) {
            return false;
        }
        values.push_back(*std::move(value));
        return true;
    };
    const auto* array = node.as_array();
    const bool whole =
        array == nullptr ? append(node) : std::all_of(array->begin(), array->end(), append);
    return whole ? std::optional(std::move(values)) : std::nullopt;
}

class TomlDatabase final : public DbHandleIf {
public:
    explicit TomlDatabase(toml::table contents) : root(std::move(contents)) {}

    int readUintList(const std::string& key, std::vector<unsigned int>& values) override {
        return readListAt(key, readUnsigned<unsigned int>, values);
    }
    int readByteList(const std::string& key, std::vector<unsigned char>& values) override {
        return readListAt(key, readUnsigned<unsigned char>, values);
    }
    int readStringList(const std::string& key, std::vector<std::string>& values) override {
        return readListAt(key, readText, values);
    }
    int readString(const std::string& key, std::string& value) override {
        const toml::node* node = find(key);
        auto text = node == nullptr ? std::nullopt : readText(*node);
        if (!text) {
            return missing;
        }
        value = *std::move(text);
        return success;
    }

private:
    template <typename T>
    int readListAt(const std::string& key, std::optional<T> (*read)(const toml::node&),
                   std::vector<T>& values) const {
        const toml::node* node = find(key);
        auto found = node == nullptr ? std::nullopt : readList(*node, read);
        if (!found) {
            return missing;
        }
        values = *std::move(found);
        return success;
    }

    // Names are compared as they stand, because those of filters may hold dots and other characters
    // that path expressions give a meaning.
    const toml::node* find(std::string_view key) const {
        const toml::node* node = &root;
        while (!key.empty()) {
            const toml::table* table = node->as_table();
            if (key.front() != '/' || table == nullptr) {
                return nullptr;
            }
            key.remove_prefix(1);
            const std::string_view name = key.substr(0, key.find('/'));
            node = table->get(name);
            if (node == nullptr) {
                return nullptr;
            }
            key.remove_prefix(name.size());
        }
        return node;
    }

    // Constant after construction, so that any thread may read.
    const toml::table root;
};

}  // namespace

std::shared_ptr<DbHandleIf> parseDatabase(std::string_view text, const std::string& origin) {
    toml::parse_result result = toml::parse(text);
    if (!result) {
        const toml::parse_error& error = result.error();
        const auto& position = error.source().begin;
        throw std::runtime_error(origin + ", line " + std::to_string(position.line) + ", column " +
                                 std::to_string(position.column) + ": " +
                                 std::string(error.description()));
    }
    return std::make_shared<TomlDatabase>(std::move(result).table());
}

}  // namespace Corbel::V1
