// Options whose value is a number of a range.
#pragma once

#include <CLI/CLI.hpp>
#include <concepts>
#include <string>

namespace Qdx::CommandLine {

// Lets a number from low to high pass, and tells the range to whoever gives another, or none; "nan"
// is none. For CLI::Option::check().
template <typename Number>
CLI::Validator between(Number low, Number high) {
    const std::string kind = std::integral<Number> ? "whole number" : "number";
    const auto wanted =
        kind + " from " + CLI::detail::to_string(low) + " to " + CLI::detail::to_string(high);
    const auto check = [low, high, wanted](std::string& text) {
        Number value{};
        const bool good = CLI::detail::lexical_cast(text, value) && value >= low && value <= high;
        return good ? std::string() : text + " is not a " + wanted;
    };
    return {check, ""};
}

}  // namespace Qdx::CommandLine
