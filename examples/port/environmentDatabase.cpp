// A port of one service: the configuration of a unit that keeps it in the environment.
//
// The key /qdx/maxFilterLimit is the variable QDX_MAXFILTERLIMIT; semicolons stand between the
// elements of a list.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <map>
#include <optional>

#include "corbel/dbRegistry.hpp"
#include "tessel/util.hpp"

namespace Corbel::V1 {
namespace {

enum Result : int { found = 0, notFound = 1 };

// "/qdx/enabled" to "QDX_ENABLED".
std::string variableOf(const std::string& key) {
    std::string name = key.substr(key.find_first_not_of('/'));
    std::ranges::transform(name, name.begin(), [](unsigned char character) {
        return character == '/' ? '_' : static_cast<char>(std::toupper(character));
    });
    return name;
}

template <typename T>
std::optional<T> numberOf(const std::string& text) {
    T number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

// The environment as it was at the opening: what changes later doesn't reach a handle.
class Snapshot final : public DbHandleIf {
public:
    Snapshot() {
        for (char** variable = environ; *variable != nullptr; ++variable) {
            const std::string text = *variable;
            const auto equals = text.find('=');
            values.emplace(text.substr(0, equals), text.substr(equals + 1));
        }
    }

    int readUintList(const std::string& key, std::vector<unsigned int>& numbers) override {
        return readNumbers(key, numbers);
    }

    int readByteList(const std::string& key, std::vector<unsigned char>& numbers) override {
        return readNumbers(key, numbers);
    }

    int readStringList(const std::string& key, std::vector<std::string>& texts) override {
        const auto value = values.find(variableOf(key));
        if (value == values.end()) {
            return notFound;
        }
        texts = Tessel::Util::tokenize(value->second, ";");
        return found;
    }

    int readString(const std::string& key, std::string& text) override {
        const auto value = values.find(variableOf(key));
        if (value == values.end()) {
            return notFound;
        }
        text = value->second;
        return found;
    }

private:
    // All or nothing: one element that is no number of that range hides the list.
    template <typename T>
    int readNumbers(const std::string& key, std::vector<T>& numbers) {
        std::vector<std::string> texts;
        if (readStringList(key, texts) != found) {
            return notFound;
        }
        std::vector<T> read;
        for (const auto& text : texts) {
            const auto number = numberOf<T>(text);
            if (!number) {
                return notFound;
            }
            read.push_back(*number);
        }
        numbers = read;
        return found;
    }

    std::map<std::string, std::string> values;
};

class EnvironmentRegistry final : public DbRegistryIf {
public:
    std::shared_ptr<DbHandleIf> openDatabase(const std::string& /*path*/) override {
        return std::make_shared<Snapshot>();
    }
};

}  // namespace

DbRegistryIf& DbRegistryIf::getInstance() {
    static EnvironmentRegistry registry;
    return registry;
}

}  // namespace Corbel::V1
