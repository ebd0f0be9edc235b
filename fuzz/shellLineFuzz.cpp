// What somebody types, the tables that a collector tells and the answers that it gives.
#include <algorithm>
#include <string>

#include "commandTable.hpp"
#include "completion.hpp"
#include "numbers.hpp"
#include "pieces.hpp"
#include "syntax.hpp"
#include "words.hpp"

namespace {

using namespace Dch;
using Qdx::Fuzz::require;

enum Kind { table, line, answer, kinds };

struct Shell {
    Table rows;
    Words words;
    Words values;
    Numbers numbers;
};

// Completions begin like the word and are words; words that are complete fit the rows that they
// came from.
void complete(const Shell& shell) {
    const auto valuesOf = [&](const std::string& /*parameter*/) { return shell.values; };
    const auto candidates = Dch::complete(shell.rows, shell.words, valuesOf);
    require(std::is_sorted(candidates.begin(), candidates.end()));
    for (const auto& candidate : candidates) {
        require(candidate.starts_with(shell.words.back()));
        require(splitWords(candidate) == Words{candidate});
        auto typed = shell.words;
        typed.back() = candidate;
        require(!rowsThatFit(shell.rows, typed).empty());
    }
}

void replaceNumbers(const Shell& shell) {
    try {
        require(shell.numbers.replace(shell.words).size() == shell.words.size());
    } catch (const NoNumber& error) {
        require(*error.what() != '\0');
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Shell shell;
    Qdx::Fuzz::forEachPiece(data, size, [&](std::uint8_t kind, auto bytes) {
        const std::string text(bytes.begin(), bytes.end());
        switch (kind % kinds) {
            case table:
                shell.rows = parseTable(text);
                layOutTable(shell.rows);
                break;
            case line:
                shell.words = splitWords(text);
                shell.words.emplace_back();
                complete(shell);
                shell.words.pop_back();
                replaceNumbers(shell);
                break;
            default:
                shell.values = splitLines(text);
                shell.numbers.learn(shell.words, text);
        }
        if (!shell.words.empty()) {
            complete(shell);
        }
    });
    return 0;
}
