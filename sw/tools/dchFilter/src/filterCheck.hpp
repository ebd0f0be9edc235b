// Whether a filter file is right, and what it says.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "captureStatement.hpp"
#include "explainer.hpp"
#include "filterFile.hpp"

namespace DchFilter {

// The collector takes percentages of a limit in 64 bits.
inline constexpr std::uint64_t largestLimit = std::numeric_limits<std::uint64_t>::max() / 100;

// Each takes the collector's parser a while, here and in the collector.
inline constexpr std::size_t mostStatements = 1000;

// With mostStatements, what bounds the time that a check takes: one long statement can take as long
// as hundreds of short ones.
inline constexpr std::size_t longestFilterFile = std::size_t{128} << 10;

// The number that a transaction gets has up to ten digits: what is left of the collector's command
// line for the words of a statement and the blank in front of each.
std::size_t longestStatement();

enum class Severity { Fault, Warning };

// Something to say about a place in the file.
struct Diagnostic {
    Severity severity;
    std::size_t line;    // from 1
    std::size_t column;  // from 0
    std::size_t length;  // columns meant, at least 1
    std::string text;
    std::string note;      // to be wrapped; may be empty
    std::string lineText;  // empty where the file has no such line
};

// A statement that the collector's parser takes.
struct Statement {
    FileLine line;
    Qdx::Backend::CaptureStatement parsed;
    Outline outline;
};

struct FilterCheck {
    std::uint64_t limit = 0;  // bytes; 0 for none
    std::vector<Statement> statements;
    std::vector<Diagnostic> diagnostics;  // in the order of the file

    bool isGood() const;
};

// Checks every line up to the first statement that is too many; the collector's parser has the last
// word about a statement. If all are right, checks that the filter fits in its limit.
FilterCheck checkFilter(const FilterFile& file);

}  // namespace DchFilter
