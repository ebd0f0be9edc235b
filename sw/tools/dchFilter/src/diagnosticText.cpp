#include "diagnosticText.hpp"

#include <algorithm>

#include "plainText.hpp"
#include "textTable.hpp"

namespace DchFilter {

namespace {

constexpr std::size_t margin = 2;
constexpr std::size_t room = screenWidth - margin;
constexpr const char* cutMark = "...";
constexpr std::size_t cutMarkSize = 3;

// What of the line is shown, and where the place is in it.
struct Excerpt {
    std::string text;
    std::size_t column;
};

Excerpt cutAround(const std::string& line, std::size_t column) {
    if (line.size() <= room) {
        return {line, column};
    }
    constexpr std::size_t before = room / 2;
    const auto begin = column > before ? std::min(column - before, line.size() - room) : 0;
    auto text = line.substr(begin, room);
    if (begin > 0) {
        text.replace(0, cutMarkSize, cutMark);
    }
    if (begin + room < line.size()) {
        text.replace(room - cutMarkSize, cutMarkSize, cutMark);
    }
    return {text, column - begin};
}

std::string underline(std::size_t column, std::size_t length) {
    const auto tail = std::min(length, column < room ? room - column : 1) - 1;
    return std::string(column, ' ') + '^' + std::string(tail, '~');
}

}  // namespace

void printDiagnostic(std::ostream& out, const std::string& fileName, const Diagnostic& diagnostic) {
    out << fileName << ':' << diagnostic.line << ':' << diagnostic.column + 1 << ": "
        << (diagnostic.severity == Severity::Warning ? "warning: " : "") << diagnostic.text << '\n';
    const std::string indent(margin, ' ');
    if (!diagnostic.lineText.empty()) {
        const auto [text, column] = cutAround(plainText(diagnostic.lineText), diagnostic.column);
        out << indent << text << '\n' << indent << underline(column, diagnostic.length) << '\n';
    }
    if (!diagnostic.note.empty()) {
        out << wrapped(diagnostic.note, margin);
    }
}

void printDiagnostics(std::ostream& out, const std::string& fileName,
                      const std::vector<Diagnostic>& diagnostics) {
    for (const auto& diagnostic : diagnostics) {
        printDiagnostic(out, fileName, diagnostic);
    }
}

}  // namespace DchFilter
