#include "filterCheck.hpp"

#include <algorithm>
#include <charconv>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "nearestWord.hpp"
#include "plainText.hpp"
#include "probeFilter.hpp"
#include "tessel/commandProtocol.hpp"

namespace DchFilter {

using Qdx::Backend::CaptureStatement;

namespace {

constexpr const char* limitWanted =
    "\"limit BYTES\" is expected before the statements (limit 0: no limit of its own)";

// Also with a slip in its first word, unless that is nearer to the first word of a statement.
bool isLimitLine(const FileLine& line) {
    return nearestWord(line.words.front().text, {"list", "limit"}) == "limit";
}

std::optional<CaptureStatement> parse(std::string text) {
    try {
        return CaptureStatement::parse(text);
    } catch (const std::out_of_range&) {
        // The number of a list doesn't fit.
        return {};
    }
}

// Where the parser stops, for a fault that the explainer can't explain.
Remark stopOf(const std::string& text) {
    auto rest = text;
    try {
        CaptureStatement::parse(rest);
    } catch (const std::out_of_range&) {
        rest = text;
    }
    return {text.size() - rest.size(), 1, "the collector understands the statement up to here", {}};
}

class Checker {
public:
    explicit Checker(const FilterFile& filterFile) : file(filterFile) {}

    FilterCheck check() {
        auto line = file.lines.begin();
        if (line == file.lines.end()) {
            faultAtEnd(std::string("no filter in this file; ") + limitWanted);
            return std::move(result);
        }
        if (isLimitLine(*line)) {
            checkLimit(*line++);
        } else {
            report(Severity::Fault, *line, line->words.front(), limitWanted);
        }
        checkStatements({line, file.lines.end()});
        if (line == file.lines.end()) {
            faultAtEnd("no capture statement in this file; a filter needs at least one");
        }
        if (result.limit != 0 && result.isGood()) {
            checkRoom(file.lines.front());
        }
        return std::move(result);
    }

private:
    void add(Severity severity, const FileLine& line, std::size_t column, Remark remark) {
        result.diagnostics.push_back({severity, line.number, column, remark.length,
                                      std::move(remark.text), std::move(remark.note), line.text});
    }

    void report(Severity severity, const FileLine& line, const Word& word, std::string text) {
        add(severity, line, word.column, {0, word.text.size(), std::move(text), {}});
    }

    void faultAtEnd(std::string text) {
        result.diagnostics.push_back(
            {Severity::Fault, file.lineCount + 1, 0, 1, std::move(text), {}, {}});
    }

    // --- the limit -------------------------------------------------------------------------------

    void checkLimit(const FileLine& line) {
        const auto& words = line.words;
        if (words[0].text != "limit") {
            report(Severity::Fault, line, words[0],
                   "found \"" + plainText(words[0].text) + "\"; did you mean \"limit\"?");
        } else if (words.size() == 1) {
            add(Severity::Fault, line, columnOf(line, statementText(line).size()),
                {0, 1, "a number of bytes is expected here (0: no limit of its own)", {}});
        } else if (words.size() > 2) {
            report(Severity::Fault, line, words[2], "nothing more is expected behind the limit");
        } else {
            takeLimit(line, words[1]);
        }
    }

    void takeLimit(const FileLine& line, const Word& number) {
        const auto& digits = number.text;
        const auto* const end = digits.data() + digits.size();
        const auto [stop, error] = std::from_chars(digits.data(), end, result.limit);
        if (stop != end || error == std::errc::invalid_argument) {
            report(Severity::Fault, line, number,
                   "not a number of bytes; digits only are expected here");
        } else if (error != std::errc() || result.limit > largestLimit) {
            report(Severity::Fault, line, number,
                   "too large; a number up to " + std::to_string(largestLimit) +
                       " is expected here (0: no limit of its own)");
        }
    }

    void checkRoom(const FileLine& line) {
        std::vector<CaptureStatement> statements;
        for (const auto& statement : result.statements) {
            statements.push_back(statement.parsed);
        }
        try {
            const ProbeFilter fits(statements, result.limit);
        } catch (const std::bad_alloc&) {
            const auto bytes = std::to_string(ProbeFilter(statements).main());
            report(Severity::Fault, line, line.words[1],
                   "too little: the filter itself takes " + bytes +
                       " bytes, of the 70 percent that are for structures");
        }
    }

    // --- statements ------------------------------------------------------------------------------

    void checkStatements(std::span<const FileLine> lines) {
        for (const auto& line : lines.first(std::min(lines.size(), mostStatements))) {
            checkStatement(line);
        }
        if (lines.size() > mostStatements) {
            const auto& beyond = lines[mostStatements];
            report(Severity::Fault, beyond, beyond.words.front(),
                   "more than " + std::to_string(mostStatements) +
                       " statements; make several filters of them");
        }
    }

    void checkStatement(const FileLine& line) {
        if (line.words.front().text == "limit") {
            report(Severity::Fault, line, line.words.front(),
                   "a second limit; there is one, before the statements");
            return;
        }
        const auto text = statementText(line);
        if (text.size() > longestStatement()) {
            reportLongLine(line, text.size());
            return;
        }
        auto explanation = explain(text);
        for (auto& warning : explanation.warnings) {
            reportRemark(Severity::Warning, line, std::move(warning));
        }
        if (auto parsed = parse(text)) {
            result.statements.push_back({line, *std::move(parsed), std::move(explanation.outline)});
            return;
        }
        reportRemark(Severity::Fault, line,
                     explanation.fault ? *std::move(explanation.fault) : stopOf(text));
    }

    void reportRemark(Severity severity, const FileLine& line, Remark remark) {
        const auto column = columnOf(line, remark.offset);
        add(severity, line, column, std::move(remark));
    }

    void reportLongLine(const FileLine& line, std::size_t size) {
        // Without the first blank, which nobody wrote.
        add(Severity::Fault, line, columnOf(line, longestStatement()),
            {0, 1,
             "the statement has " + std::to_string(size - 1) + " characters; " +
                 std::to_string(longestStatement() - 1) + " fit on the collector's command line",
             "Aggregators can be spread over several statements with the same tags and context: "
             "what they capture adds up."});
    }

    const FilterFile& file;
    FilterCheck result;
};

}  // namespace

std::size_t longestStatement() {
    constexpr std::string_view longestStart = "dch fs add 4294967295";
    return Tessel::CommandProtocol::maxLine - longestStart.size();
}

bool FilterCheck::isGood() const {
    return std::ranges::none_of(diagnostics,
                                [](const auto& one) { return one.severity == Severity::Fault; });
}

FilterCheck checkFilter(const FilterFile& file) {
    return Checker(file).check();
}

}  // namespace DchFilter
