#include "quardexShellCommands.hpp"

#include <regex>
#include <sstream>
#include <utility>

#include "exceptionGuard.hpp"
#include "tessel/commandRegistry.hpp"
#include "tessel/util.hpp"
#include "trace.hpp"

namespace Qdx::Backend {

namespace {

using Bevel::CmdTableHelper::CmdDefinition;
using Bevel::CmdTableHelper::V2::CmdTableHelperIf;
using Tessel::CommandRegistry::V1::CommandRegistryIf;
using Args = QuardexShellCommands::Args;
using RowHandler = decltype(CmdDefinition::handler);

// Results of a handler.
constexpr int success = 0;
constexpr int invalid = 10;
constexpr int refused = 20;

// A row's handler, from one of the handlers below.
template <typename Self, typename Handler>
RowHandler adapter(Self* self, Handler handler) {
    return [self, handler](int count, const char* const* words, std::ostream& out) {
        return (self->*handler)(Args(words, words + count), out);
    };
}

std::string lineOf(const Args& args) {
    std::string line;
    for (const auto& word : args) {
        line += (&word == &args.front() ? "" : " ") + word;
    }
    return line;
}

// The groups of a line that matches, the suffix behind the match among them.
struct Match {
    bool found;
    std::vector<std::string> groups;
    std::string suffix;
};

Match match(const std::string& line, const char* pattern) {
    std::smatch match;
    if (!std::regex_search(line, match, std::regex(pattern))) {
        return {};
    }
    return {true, {match.begin(), match.end()}, match.suffix()};
}

// A number too large gives the largest there is.
template <typename T>
T readNumber(const std::string& digits) {
    T number{};
    std::istringstream(digits) >> number;
    return number;
}

int report(const std::string& text, int result, std::ostream& out) {
    out << text << std::endl;
    return result;
}

int reportInvalidCommand(std::ostream& out) {
    return report("Invalid command", invalid, out);
}

int reportNoSuchFilter(std::ostream& out) {
    return report(getErrorMsg(ErrorType::NoSuchFilter), invalid, out);
}

int reportMaxFilters(std::ostream& out) {
    return report("Reached maximum number of filters.", refused, out);
}

int reportFailedCommand(std::ostream& out) {
    return report("Failed to execute command", refused, out);
}

// Has act answer for the filter that the last group of the line names.
template <typename Act>
int withNamedFilter(const QuardexBeIf& backend, const Match& line, std::ostream& out, Act act) {
    if (!line.found) {
        return reportInvalidCommand(out);
    }
    const auto id = backend.findFilter(line.groups.back());
    return id ? act(*id) : reportNoSuchFilter(out);
}

// What printFilterData gave.
int reportPrinted(ErrorType status, const std::string& text, std::ostream& out) {
    if (status != ErrorType::NoError) {
        return report(getErrorMsg(status), refused, out);
    }
    out << text;
    return success;
}

int shellResult(int handlerResult) {
    switch (handlerResult) {
        case success:
            return 0;
        case invalid:
            return 1;
        default:
            return 2;
    }
}

int execute(const Args& args, std::ostream& out) {
    return shellResult(CmdTableHelperIf::getInstance().executeCmd(args, out));
}

// Guards every row, behind its own handler or the one that answers for a disabled command.
void guardRows(std::vector<CmdDefinition>& table, const RowHandler* disabledHandler) {
    for (auto& row : table) {
        row.handler = exceptionGuard(disabledHandler != nullptr ? *disabledHandler : row.handler);
    }
}

}  // namespace

QuardexShellCommands::QuardexShellCommands(QuardexBeIf* collector)
    : backend(collector),
      dchCommands{
          {"dch filter pull { keep | clear } <filterId>",
           adapter(this, &QuardexShellCommands::handleCommandFilterPull),
           "Extract data from an existing filter. Choose whether the extracted data should be "
           "cleared from the filter or remain for subsequent pull requests."},
          {"dch filter status", adapter(this, &QuardexShellCommands::handleCommandFilterStatus),
           "Show status of existing filters."},
          {"dch filter enable <filterId>",
           adapter(this, &QuardexShellCommands::handleCommandFilterEnable), "Enable a filter."},
          {"dch filter disable <filterId>",
           adapter(this, &QuardexShellCommands::handleCommandFilterDisable), "Disable a filter."},
          {"dch filter delete <filterId>",
           adapter(this, &QuardexShellCommands::handleCommandFilterDelete),
           "Delete a filter and all associated data."},
          {"dch filter deleteAll",
           adapter(this, &QuardexShellCommands::handleCommandFilterDeleteAll),
           "Delete all filters and all associated data."},
          {"dch filter clearAll", adapter(this, &QuardexShellCommands::handleCommandFilterClearAll),
           "Clear data from all filters."},
          {"dch fs create limit < 0 | memoryLimit>",
           adapter(this, &QuardexShellCommands::handleCommandFsCreate),
           "Create a filter manually. This is the start of the transaction."},
          {"dch fs add < transaction_id >",
           adapter(this, &QuardexShellCommands::handleCommandFsAdd),
           "Create a filter manually. This adds capture statements to the transaction. "
           "Transaction_id is returned at 'dch fs create'."},
          {"dch fs commit < transaction_id >",
           adapter(this, &QuardexShellCommands::handleCommandFsCommit),
           "Create a filter manually. This adds capture statements to the transaction. "
           "Transaction_id is returned at 'dch fs create'."},
      },
      rodcCommands{
          {"rodc print <filterId>", adapter(this, &QuardexShellCommands::handleCommandRodcPrint),
           "Print data for the filter"},
          {"rodc list", adapter(this, &QuardexShellCommands::handleCommandRodcList),
           "Show rodc filter list of names and associated tags"},
          {"rodc show <numberOfMeasurements>",
           adapter(this, &QuardexShellCommands::handleCommandRodcShow),
           "Show the most recent measurements, as specified by the parameter"},
      } {}

// --- Registration ------------------------------------------------------------------------------

void QuardexShellCommands::initShellCommandDch(bool enabled) {
    QDX_TRACE(Info, "'dch' command is " << (enabled ? "enabled" : "disabled"));
    const auto whenDisabled = adapter(this, &QuardexShellCommands::handleCommandsWhenQdxIsDisabled);
    guardRows(dchCommands, enabled ? nullptr : &whenDisabled);
    CommandRegistryIf::getInstance().registerCommand(
        "dch", [this](const Args& args, std::ostream& out) { return cmdDch(args, out); }, !enabled);
    CmdTableHelperIf::getInstance().registerCmdTable("dch", dchCommands);
}

void QuardexShellCommands::initShellCommandRodc(bool enabled) {
    QDX_TRACE(Info, "'rodc' command is " << (enabled ? "enabled" : "disabled"));
    const auto whenDisabled =
        adapter(this, &QuardexShellCommands::handleCommandsWhenRodcIsDisabled);
    guardRows(rodcCommands, enabled ? nullptr : &whenDisabled);
    CommandRegistryIf::getInstance().registerCommand(
        "rodc", [this](const Args& args, std::ostream& out) { return cmdRodc(args, out); },
        !enabled);
    CmdTableHelperIf::getInstance().registerCmdTable("rodc", rodcCommands);
}

int QuardexShellCommands::cmdDch(const Args& args, std::ostream& out) {
    return execute(args, out);
}

int QuardexShellCommands::cmdRodc(const Args& args, std::ostream& out) {
    return execute(args, out);
}

int QuardexShellCommands::handleCommandsWhenQdxIsDisabled(const Args&, std::ostream& out) const {
    out << "Since data collection is disabled, the functionality for this command is disabled.\n";
    return invalid;
}

int QuardexShellCommands::handleCommandsWhenRodcIsDisabled(const Args&, std::ostream& out) const {
    out << "Since radio observability data collection is disabled, the functionality for this "
           "command is disabled.\n";
    return invalid;
}

// --- dch filter --------------------------------------------------------------------------------

int QuardexShellCommands::handleCommandFilterPull(const Args& args, std::ostream& out) const {
    const auto line = match(lineOf(args), R"(^dch filter pull (keep|clear) (\S+)$)");
    return withNamedFilter(*backend, line, out, [&](FilterId id) {
        const auto clear = line.groups[1] == "keep" ? Clear::No : Clear::Yes;
        std::string data;
        const auto status = backend->pullFilterData(id, clear, data);
        if (status != ErrorType::NoError) {
            return report(getErrorMsg(status), refused, out);
        }
        const auto text = Tessel::Util::Base64::encode({data.begin(), data.end()});
        return report("<QdxOutput>" + text + "</QdxOutput>", success, out);
    });
}

int QuardexShellCommands::handleCommandFilterStatus(const Args&, std::ostream& out) const {
    const auto listing = backend->listFilters(Printable::No);
    if (!listing) {
        return report("No filters found", success, out);
    }
    out << *listing;
    return success;
}

int QuardexShellCommands::handleCommandFilterEnable(const Args& args, std::ostream& out) const {
    const auto line = match(lineOf(args), R"(^dch filter enable (\S+)$)");
    return withNamedFilter(*backend, line, out, [&](FilterId id) {
        backend->enableFilter(id);
        return success;
    });
}

int QuardexShellCommands::handleCommandFilterDisable(const Args& args, std::ostream& out) const {
    const auto line = match(lineOf(args), R"(^dch filter disable (\S+)$)");
    return withNamedFilter(*backend, line, out, [&](FilterId id) {
        backend->disableFilter(id);
        return success;
    });
}

int QuardexShellCommands::handleCommandFilterDelete(const Args& args, std::ostream& out) {
    auto line = match(lineOf(args), R"(^dch filter delete (\S+)$)");
    if (!line.found) {
        line = match(lineOf(args), R"(^dch filter deleteFilter (\S+)$)");
    }
    return withNamedFilter(*backend, line, out, [&](FilterId id) {
        backend->deleteFilter(id, out);
        return success;
    });
}

int QuardexShellCommands::handleCommandFilterDeleteAll(const Args&, std::ostream& out) {
    backend->deleteAllFilters(out);
    return success;
}

int QuardexShellCommands::handleCommandFilterClearAll(const Args&, std::ostream& out) {
    backend->clearAllFilters(out);
    return success;
}

// --- dch fs ------------------------------------------------------------------------------------

int QuardexShellCommands::handleCommandFsCreate(const Args& args, std::ostream& out) {
    const auto line = match(lineOf(args), "^dch fs create");
    if (!line.found) {
        return reportInvalidCommand(out);
    }
    if (backend->hasReachedMaxNumberOfFilters()) {
        return reportMaxFilters(out);
    }
    const auto id = fsCreate(line.suffix, Enabled::Yes, Printable::No);
    if (!id) {
        return reportFailedCommand(out);
    }
    return report("Created transaction: " + std::to_string(*id), success, out);
}

int QuardexShellCommands::handleCommandFsAdd(const Args& args, std::ostream& out) {
    const auto line = match(lineOf(args), R"(^dch fs add (\d+))");
    if (!line.found) {
        return reportInvalidCommand(out);
    }
    if (backend->hasReachedMaxNumberOfFilters()) {
        return reportMaxFilters(out);
    }
    if (!fsAdd(line.suffix, readNumber<unsigned>(line.groups[1]))) {
        return reportFailedCommand(out);
    }
    return success;
}

int QuardexShellCommands::handleCommandFsCommit(const Args& args, std::ostream& out) {
    const auto line = match(lineOf(args), R"(^dch fs commit (\d+)$)");
    if (!line.found) {
        return reportInvalidCommand(out);
    }
    if (backend->hasReachedMaxNumberOfFilters()) {
        return reportMaxFilters(out);
    }
    const auto result = fsCommit(readNumber<unsigned>(line.groups[1]), std::nullopt, Static::No);
    if (const auto* message = std::get_if<std::string>(&result)) {
        return report(*message, refused, out);
    }
    out << "Filter ID is: " << std::get<FilterId>(result) << std::endl;
    return success;
}

std::optional<unsigned> QuardexShellCommands::fsCreate(const std::string& arguments,
                                                       Enabled enabled, Printable printable) {
    if (arguments.size() > CaptureStatement::maxTextSize) {
        return std::nullopt;
    }
    const auto clause = match(arguments, R"(^ limit (\d+)$)");
    if (!clause.found) {
        return std::nullopt;
    }
    const auto id = nextTransactionId++;
    const auto memoryLimit = readNumber<std::uint64_t>(clause.groups[1]);
    transactions.insert_or_assign(id, Transaction{memoryLimit, printable, enabled, {}});
    return id;
}

bool QuardexShellCommands::fsAdd(std::string statement, unsigned transactionId) {
    const auto original = statement;
    auto parsed = CaptureStatement::parse(statement);
    if (!parsed) {
        QDX_TRACE(Trace5, "Could not parse capture statement '" << original << "' - stopped at '"
                                                                << statement << "'");
        return false;
    }
    const auto transaction = transactions.find(transactionId);
    if (transaction == transactions.end()) {
        QDX_TRACE(Trace5,
                  "Trying to add a capture statement to unknown transaction " << transactionId);
        return false;
    }
    transaction->second.captureStatements.push_back(*std::move(parsed));
    return true;
}

std::variant<FilterId, std::string> QuardexShellCommands::fsCommit(unsigned transactionId,
                                                                   std::optional<std::string> name,
                                                                   Static isStatic) {
    const auto refuse = [](const std::string& message) {
        QDX_TRACE(Trace5, message);
        return message;
    };
    const auto entry = transactions.find(transactionId);
    if (entry == transactions.end()) {
        return refuse("Trying to commit transaction " + std::to_string(transactionId) +
                      " which does not exist");
    }
    const auto& transaction = entry->second;
    if (transaction.captureStatements.empty()) {
        return refuse("Trying to commit a transaction without capture statements");
    }
    const FilterId id{nextFilterId};
    const auto result = backend->createFilter(
        id, std::move(name).value_or(std::to_string(nextFilterId)), transaction.captureStatements,
        transaction.memoryLimit, transaction.enabled, isStatic, transaction.printable);
    transactions.erase(entry);
    if (result != ErrorType::NoError) {
        return getErrorMsg(result);
    }
    ++nextFilterId;
    return id;
}

// --- rodc --------------------------------------------------------------------------------------

int QuardexShellCommands::handleCommandRodcPrint(const Args& args, std::ostream& out) const {
    const auto line = match(lineOf(args), R"(^rodc print (\S+)$)");
    return withNamedFilter(*backend, line, out, [&](FilterId id) {
        std::string text;
        const auto status = backend->printFilterData(id, std::nullopt, text);
        return reportPrinted(status, text, out);
    });
}

int QuardexShellCommands::handleCommandRodcList(const Args&, std::ostream& out) const {
    const auto listing = backend->listFilters(Printable::Yes);
    out << listing.value_or("No printable filters exist\n");
    return success;
}

int QuardexShellCommands::handleCommandRodcShow(const Args& args, std::ostream& out) const {
    const auto line = match(lineOf(args), R"(^rodc show (\d+)$)");
    if (!line.found) {
        return reportInvalidCommand(out);
    }
    std::string text;
    const auto status =
        backend->printFilterData(std::nullopt, readNumber<unsigned>(line.groups[1]), text);
    return reportPrinted(status, text, out);
}

}  // namespace Qdx::Backend
