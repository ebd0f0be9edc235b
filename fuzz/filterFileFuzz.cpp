// Files that describe a filter: what is said about them agrees with the collector's parser, and
// about places that they have.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>

#include "agreement.hpp"
#include "diagnosticText.hpp"
#include "filterCheck.hpp"
#include "pieces.hpp"

namespace {

using namespace DchFilter;
using Qdx::Fuzz::require;

void requireAgreement(const std::string& statement) {
    const auto fault = disagreement(statement);
    if (!fault.empty()) {
        std::fprintf(stderr, "broken: %s: %s\n", fault.c_str(), statement.c_str());
    }
    require(fault.empty());
}

void requirePlaces(const FilterFile& file, const FilterCheck& check) {
    for (const auto& one : check.diagnostics) {
        require(one.line >= 1 && one.line <= file.lineCount + 1);
        require(one.column <= one.lineText.size() && one.length >= 1 && !one.text.empty());
    }
}

void requireEveryLineJudged(const FilterFile& file, const FilterCheck& check) {
    for (const auto& line : file.lines) {
        bool judged = false;
        for (const auto& statement : check.statements) {
            judged = judged || statement.line.number == line.number;
        }
        for (const auto& one : check.diagnostics) {
            judged = judged || one.line == line.number;
        }
        require(judged || &line == &file.lines.front());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The parser compiles its patterns anew for every line: many lines are slow and tell no more.
    constexpr std::size_t mostLines = 50;
    const std::string text(data, data + size);
    const auto file = readFilterFile("fuzz", text);
    if (file.lines.size() > mostLines) {
        return 0;
    }
    requireAgreement(text);
    for (const auto& line : file.lines) {
        requireAgreement(statementText(line));
    }
    const auto check = checkFilter(file);
    requirePlaces(file, check);
    requireEveryLineJudged(file, check);
    std::ostringstream out;
    printDiagnostics(out, file.name, check.diagnostics);
    require(out.str().find('\x1B') == std::string::npos);
    return 0;
}
