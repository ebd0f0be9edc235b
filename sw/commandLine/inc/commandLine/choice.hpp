// Options whose value is one of some names.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>

namespace Qdx::CommandLine {

// Turns a name into its value, and tells the names to whoever gives another. For
// CLI::Option::transform().
template <typename Value>
CLI::Validator oneOf(const std::map<std::string, Value>& values) {
    const auto take = [values](std::string& text) {
        const auto found = values.find(text);
        if (found != values.end()) {
            text = std::to_string(static_cast<int>(found->second));
            return std::string();
        }
        std::string names;
        for (const auto& [name, value] : values) {
            names.append(names.empty() ? "" : ", ").append(name);
        }
        return "'" + text + "' is none of " + names;
    };
    return {take, ""};
}

}  // namespace Qdx::CommandLine
