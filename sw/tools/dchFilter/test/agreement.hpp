// What must hold between the explainer and the collector's parser, whatever the text.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "captureStatement.hpp"
#include "explainer.hpp"

namespace DchFilter {

struct Parsed {
    std::optional<Qdx::Backend::CaptureStatement> statement;  // empty if refused or thrown
    std::size_t stop;                                         // offset of what wasn't consumed
};

inline Parsed parseWithStop(const std::string& text) {
    auto rest = text;
    Parsed parsed{{}, 0};
    try {
        parsed.statement = Qdx::Backend::CaptureStatement::parse(rest);
    } catch (const std::out_of_range&) {
        parsed.statement.reset();
    }
    parsed.stop = text.size() - rest.size();
    return parsed;
}

inline std::string rebuilt(const Outline& outline) {
    auto text = outline.tags + outline.context;
    for (const auto& clause : outline.aggregators) {
        text.append(" ").append(clause.text());
    }
    return text;
}

// What is wrong with the explanation of the text; empty if nothing is.
inline std::string disagreement(const std::string& text) {
    const auto parsed = parseWithStop(text);
    const auto explanation = explain(text);
    if (parsed.statement.has_value() == explanation.fault.has_value()) {
        return parsed.statement ? "a fault in a good statement: " + explanation.fault->text
                                : "no fault in a bad statement";
    }
    for (const auto& warning : explanation.warnings) {
        if (warning.offset >= text.size() || warning.length == 0) {
            return "a warning about no place";
        }
    }
    if (explanation.fault) {
        const auto& fault = *explanation.fault;
        const bool hasPlace =
            fault.offset >= parsed.stop && fault.offset <= text.size() && fault.length > 0;
        return hasPlace ? ""
                        : "the parser stops at " + std::to_string(parsed.stop) +
                              ", the fault is at " + std::to_string(fault.offset);
    }
    const auto again = parseWithStop(rebuilt(explanation.outline)).statement;
    if (!again || *again < *parsed.statement || *parsed.statement < *again) {
        return "the outline is another statement: " + rebuilt(explanation.outline);
    }
    return "";
}

}  // namespace DchFilter
