// The shell commands of the collector.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

#include "bevel/cmdTableHelper.hpp"
#include "captureStatement.hpp"
#include "filterId.hpp"
#include "quardexBeIf.hpp"

namespace Qdx::Backend {

// dch manages filters and pulls their data as base64 of a protobuf message; rodc reads printable
// filters as text. Also keeps the open filter specifications: a filter is created by "dch fs
// create", any number of "dch fs add" and "dch fs commit".
//
// A handler gets the typed words, the command word first, writes its answer to out and gives 0
// (success), 10 (invalid use) or 20 (refused); cmdDch and cmdRodc turn that into the exit status 0,
// 1 or 2. The registry and the table helper keep pointers to the object: it must outlive every
// command. Runs on the thread that registers the commands.
class QuardexShellCommands {
public:
    using Args = std::vector<std::string>;

    // A filter specification in the making.
    struct Transaction {
        std::uint64_t memoryLimit;  // bytes; 0 for no limit of its own
        Printable printable;
        Enabled enabled;
        std::vector<CaptureStatement> captureStatements;
    };

    // backend must outlive the object. Registers nothing.
    explicit QuardexShellCommands(QuardexBeIf* backend);
    QuardexShellCommands(const QuardexShellCommands&) = delete;
    QuardexShellCommands& operator=(const QuardexShellCommands&) = delete;

    // Register the command with its table; when not enabled, with every row answering that it is
    // disabled.
    void initShellCommandDch(bool enabled);
    void initShellCommandRodc(bool enabled);

    int cmdDch(const Args& args, std::ostream& out);
    int cmdRodc(const Args& args, std::ostream& out);

    // What may be typed for a parameter of a row at this moment: "filterId", the names and numbers
    // of filters (of printable ones for rodc), or "transaction_id", the open transactions. Nothing
    // for others.
    std::vector<std::string> completeDch(const std::string& parameter) const;
    std::vector<std::string> completeRodc(const std::string& parameter) const;

    int handleCommandFilterPull(const Args& args, std::ostream& out) const;
    int handleCommandFilterStatus(const Args& args, std::ostream& out) const;
    int handleCommandFilterEnable(const Args& args, std::ostream& out) const;
    int handleCommandFilterDisable(const Args& args, std::ostream& out) const;
    int handleCommandFilterDelete(const Args& args, std::ostream& out);
    int handleCommandFilterDeleteAll(const Args& args, std::ostream& out);
    int handleCommandFilterClearAll(const Args& args, std::ostream& out);
    int handleCommandFsCreate(const Args& args, std::ostream& out);
    int handleCommandFsAdd(const Args& args, std::ostream& out);
    int handleCommandFsCommit(const Args& args, std::ostream& out);
    int handleCommandRodcPrint(const Args& args, std::ostream& out) const;
    int handleCommandRodcList(const Args& args, std::ostream& out) const;
    int handleCommandRodcShow(const Args& args, std::ostream& out) const;
    int handleCommandsWhenQdxIsDisabled(const Args& args, std::ostream& out) const;
    int handleCommandsWhenRodcIsDisabled(const Args& args, std::ostream& out) const;

    // Opens a transaction from the text behind "dch fs create"; empty if that has no valid limit
    // clause.
    std::optional<unsigned> fsCreate(const std::string& arguments, Enabled enabled,
                                     Printable printable);
    // Adds a capture statement; false, with the reason in the trace, if it can't be parsed or there
    // is no such transaction.
    bool fsAdd(std::string statement, unsigned transactionId);
    // Creates the filter, named after its id if there is no name; otherwise says why not. A
    // transaction ends with its commit, also a failed one, unless it has no statements yet.
    std::variant<FilterId, std::string> fsCommit(unsigned transactionId,
                                                 std::optional<std::string> name, Static isStatic);

    // Creates the filters that the configuration prescribes, those enabled by default first; false,
    // with the reason in the trace, if any of them failed. The others are there all the same.
    // Throws what reading the database and parsing a statement throw.
    bool createStaticFilters();
    // Creates one of them from the statements under its name.
    bool createStaticFilter(const std::string& name, Enabled enabled);

private:
    QuardexBeIf* backend;

public:
    // The rows that the init operations register, with the handlers that they put in.
    std::vector<Bevel::CmdTableHelper::CmdDefinition> dchCommands;
    std::vector<Bevel::CmdTableHelper::CmdDefinition> rodcCommands;

    // Wraps in silence: a transaction that is still open when its id comes round is given up.
    std::uint32_t nextTransactionId = 0;

private:
    std::map<std::uint32_t, Transaction> transactions;
    std::int64_t nextFilterId = 11;
};

}  // namespace Qdx::Backend
