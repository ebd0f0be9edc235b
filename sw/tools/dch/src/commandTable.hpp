// The subcommands of a command, as the collector tells them and as text for a person.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Dch {

struct Row {
    std::string syntax;
    std::string help;

    friend bool operator==(const Row&, const Row&) = default;
};

using Table = std::vector<Row>;

// From lines "syntax TAB help".
Table parseTable(std::string_view lines);

// The syntax of each row.
std::string layOutSyntax(const Table& table);

// The syntax of each row, and the help below it, indented and cut between words at the width of a
// terminal.
std::string layOutTable(const Table& table);

}  // namespace Dch
