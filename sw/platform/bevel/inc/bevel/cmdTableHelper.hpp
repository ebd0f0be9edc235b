// Tables of subcommands and the search of the row that typed words mean.
//
//     helper.registerCmdTable("dch", {{"dch filter status", status, "Show all filters."},
//                                     {"dch filter enable <filterId>", enable, "Enable one."}});
//     helper.executeCmd({"dch", "filter", "enable", "11"}, std::cout);   // calls enable
#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace Bevel::CmdTableHelper {

// One subcommand.
struct CmdDefinition {
    // Literal words and parameters, "dch filter enable <filterId>". A word that begins with "<" or
    // "{" begins the parameters.
    std::string syntax;
    // Gets the typed words, the command word first and a null pointer behind the last; they are
    // valid during the call. Its result is that of executeCmd.
    std::function<int(int, const char* const*, std::ostream&)> handler;
    std::string help;
};

namespace V2 {

// The tables of the process, by command word. Any thread may call; a handler runs on the caller's
// thread, outside any lock, and may itself call the helper.
class CmdTableHelperIf {
public:
    // Result of executeCmd when no row wins: the line is not valid.
    static constexpr int invalidCommand = 10;

    static CmdTableHelperIf& getInstance();

    // Keeps a copy of the table for the command word; a table kept for it before is replaced.
    virtual void registerCmdTable(const std::string& command,
                                  const std::vector<CmdDefinition>& table) = 0;

    // Calls the handler of the row whose leading literal words the typed words repeat for longest;
    // on a tie, of the row that takes parameters and whose next literal word the typed word starts
    // with. Without a winner writes the usage of the rows that come nearest and gives
    // invalidCommand. What the handler throws passes through.
    virtual int executeCmd(const std::vector<std::string>& words, std::ostream& out) = 0;

    // The table kept for the command word, for help and completion.
    virtual std::optional<std::vector<CmdDefinition>> getCmdTable(
        const std::string& command) const = 0;

    virtual ~CmdTableHelperIf() = default;
};

}  // namespace V2
}  // namespace Bevel::CmdTableHelper
