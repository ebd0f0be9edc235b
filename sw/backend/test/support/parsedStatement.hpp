// Capture statements from text.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "captureStatement.hpp"

namespace Qdx::Test {

// The statement, given without the blank in front, on the heap as parsing leaves it. Throws
// std::invalid_argument if the text is none.
inline Backend::CaptureStatement parsed(const std::string& text) {
    auto rest = " " + text;
    auto statement = Backend::CaptureStatement::parse(rest);
    if (!statement) {
        throw std::invalid_argument("no capture statement: " + text);
    }
    return *std::move(statement);
}

inline std::vector<Backend::CaptureStatement> parsedAll(const std::vector<std::string>& texts) {
    std::vector<Backend::CaptureStatement> statements;
    statements.reserve(texts.size());
    for (const auto& text : texts) {
        statements.push_back(parsed(text));
    }
    return statements;
}

}  // namespace Qdx::Test
