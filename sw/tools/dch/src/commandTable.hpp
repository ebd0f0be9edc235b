// The subcommands of a command, as text for a person.
#pragma once

#include <string>
#include <string_view>

namespace Dch {

// Lays out the rows "syntax TAB help", one per line: the syntax, and the help below it, indented
// and cut between words at the width of a terminal.
std::string layOutTable(std::string_view rows);

}  // namespace Dch
