// Capture statements from text.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "captureStatement.hpp"

namespace Qdx::Test {

// The statement, given without the blank in front. Throws std::invalid_argument if it is not one.
inline Backend::CaptureStatement parsed(const std::string& text) {
    auto rest = " " + text;
    auto statement = Backend::CaptureStatement::parse(rest);
    if (!statement) {
        throw std::invalid_argument("no capture statement: " + text);
    }
    return *statement;
}

inline std::vector<Backend::CaptureStatement> parsedAll(const std::vector<std::string>& texts) {
    std::vector<Backend::CaptureStatement> statements;
    for (const auto& text : texts) {
        statements.push_back(parsed(text));
    }
    return statements;
}

}  // namespace Qdx::Test
