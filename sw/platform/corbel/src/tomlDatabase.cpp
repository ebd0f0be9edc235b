#include "corbel/tomlDatabase.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

// Thrown where toml++ meets a text that it holds for impossible, "[.a]" for one.
struct UnforeseenText {};

constexpr void requireForeseen(bool foreseen) {
    if (!foreseen) {
        throw UnforeseenText();
    }
}

}  // namespace

// toml++ asserts what it expects of the text instead of testing it, and without assertions goes on
// undefined; so its assertions stay on in every build, and throw.
#undef NDEBUG
#define TOML_ASSERT(condition) requireForeseen(static_cast<bool>(condition))
#define TOML_EXCEPTIONS 0
#define TOML_HEADER_ONLY 1
#define TOML_ENABLE_FORMATTERS 0
// Its search for blanks beyond ASCII ends in a place that it holds for unreachable, though every
// other letter leads there: such a letter is no blank.
#include <toml++/impl/forward_declarations.h>
#pragma push_macro("TOML_UNREACHABLE")
#undef TOML_UNREACHABLE
#define TOML_UNREACHABLE return false
#include <toml++/impl/unicode.h>
#pragma pop_macro("TOML_UNREACHABLE")
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

// What is wrong may quote the text, line ends and all.
[[noreturn]] void throwFault(const std::string& origin, std::size_t line, std::size_t column,
                             std::string what) {
    const auto isControl = [](unsigned char letter) { return letter < ' ' || letter == 0x7f; };
    std::replace_if(what.begin(), what.end(), isControl, ' ');
    throw std::runtime_error(origin + ", line " + std::to_string(line) + ", column " +
                             std::to_string(column) + ": " + what);
}

bool isForeseen(std::string_view text) {
    try {
        (void)toml::parse(text);
        return true;
    } catch (const UnforeseenText&) {
        return false;
    }
}

// The length of the shortest beginning of the text that is unforeseen. Whatever follows it doesn't
// matter any more, so halving finds it.
std::size_t unforeseenLength(std::string_view text) {
    std::size_t foreseen = 0;
    std::size_t unforeseen = text.size();
    while (unforeseen - foreseen > 1) {
        const std::size_t middle = foreseen + (unforeseen - foreseen) / 2;
        (isForeseen(text.substr(0, middle)) ? foreseen : unforeseen) = middle;
    }
    return unforeseen;
}

[[noreturn]] void throwUnforeseen(std::string_view text, const std::string& origin) {
    const std::string_view before = text.substr(0, unforeseenLength(text) - 1);
    const auto lines = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
    const std::size_t lineBegin = before.rfind('\n') + 1;  // npos + 1 is 0
    throwFault(origin, lines + 1, before.size() - lineBegin + 1, "unexpected character");
}

toml::table parseTable(std::string_view text, const std::string& origin) {
    try {
        toml::parse_result result = toml::parse(text);
        if (!result) {
            const auto& [line, column] = result.error().source().begin;
            throwFault(origin, line, column, std::string(result.error().description()));
        }
        return std::move(result).table();
    } catch (const UnforeseenText&) {
        throwUnforeseen(text, origin);
    }
}

}  // namespace

std::shared_ptr<DbHandleIf> parseDatabase(std::string_view text, const std::string& origin) {
    return std::make_shared<TomlDatabase>(parseTable(text, origin));
}

}  // namespace Corbel::V1
