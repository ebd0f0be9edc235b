#include "bevel/cmdTableHelper.hpp"

#include <algorithm>
#include <map>
#include <mutex>
#include <sstream>

namespace Bevel::CmdTableHelper {
namespace {

using Table = std::vector<CmdDefinition>;
using Words = std::vector<std::string>;
using Rows = std::vector<const CmdDefinition*>;

struct Syntax {
    Words literals;
    bool takesParameters = false;
};

Syntax parseSyntax(const std::string& text) {
    Syntax syntax;
    std::istringstream in(text);
    for (std::string word; in >> word;) {
        if (word.starts_with('<') || word.starts_with('{')) {
            syntax.takesParameters = true;
            break;
        }
        syntax.literals.push_back(word);
    }
    return syntax;
}

// How many of the row's leading literal words the typed words repeat.
std::size_t repeatedLiterals(const CmdDefinition& row, const Words& words) {
    const Words literals = parseSyntax(row.syntax).literals;
    const auto ends = std::mismatch(literals.begin(), literals.end(), words.begin(), words.end());
    return static_cast<std::size_t>(ends.first - literals.begin());
}

struct Nearest {
    Rows rows;
    std::size_t repeated = 0;
};

Nearest findNearest(const Table& table, const Words& words) {
    Nearest nearest;
    for (const CmdDefinition& row : table) {
        const std::size_t repeated = repeatedLiterals(row, words);
        if (repeated > nearest.repeated) {
            nearest = {{}, repeated};
        }
        if (repeated == nearest.repeated) {
            nearest.rows.push_back(&row);
        }
    }
    return nearest;
}

// True when the typed word behind the repeated ones is a longer form of the row's next literal
// word, "deleteFilter" of "delete", and the row has a use for what follows.
bool extendsNextLiteral(const CmdDefinition& row, const Words& words, std::size_t repeated) {
    const Syntax syntax = parseSyntax(row.syntax);
    return syntax.takesParameters && repeated < syntax.literals.size() && repeated < words.size() &&
           words[repeated].starts_with(syntax.literals[repeated]);
}

// Null when no row wins.
const CmdDefinition* findWinner(const Nearest& nearest, const Words& words) {
    if (nearest.repeated == 0) {
        return nullptr;
    }
    if (nearest.rows.size() == 1) {
        return nearest.rows.front();
    }
    Rows extended;
    std::copy_if(nearest.rows.begin(), nearest.rows.end(), std::back_inserter(extended),
                 [&](const CmdDefinition* row) {
                     return extendsNextLiteral(*row, words, nearest.repeated);
                 });
    return extended.size() == 1 ? extended.front() : nullptr;
}

void writeUsage(const Rows& rows, std::ostream& out) {
    out << "Usage:\n";
    for (const CmdDefinition* row : rows) {
        out << "  " << row->syntax << "\n      " << row->help << '\n';
    }
    out.flush();
}

int callHandler(const CmdDefinition& row, const Words& words, std::ostream& out) {
    std::vector<const char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) {
        arguments.push_back(word.c_str());
    }
    arguments.push_back(nullptr);
    return row.handler(static_cast<int>(words.size()), arguments.data(), out);
}

class CmdTableHelper final : public V2::CmdTableHelperIf {
public:
    void registerCmdTable(const std::string& command, const Table& table) override {
        const std::lock_guard lock(mutex);
        tables[command] = table;
    }

    int executeCmd(const Words& words, std::ostream& out) override {
        const std::string command = words.empty() ? "" : words.front();
        // A copy, so that the handler runs without the lock and the table may be replaced
        // meanwhile.
        const std::optional<Table> table = getCmdTable(command);
        if (!table) {
            out << "Unknown command: " << command << std::endl;
            return invalidCommand;
        }
        const Nearest nearest = findNearest(*table, words);
        const CmdDefinition* winner = findWinner(nearest, words);
        if (winner == nullptr) {
            writeUsage(nearest.rows, out);
            return invalidCommand;
        }
        return callHandler(*winner, words, out);
    }

    std::optional<Table> getCmdTable(const std::string& command) const override {
        const std::lock_guard lock(mutex);
        const auto found = tables.find(command);
        return found == tables.end() ? std::nullopt : std::optional(found->second);
    }

private:
    mutable std::mutex mutex;
    std::map<std::string, Table> tables;
};

}  // namespace

V2::CmdTableHelperIf& V2::CmdTableHelperIf::getInstance() {
    static CmdTableHelper helper;
    return helper;
}

}  // namespace Bevel::CmdTableHelper
