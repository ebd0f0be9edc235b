#include "quardexShellCommands.hpp"

#include <gmock/gmock.h>

#include <sstream>

#include "flushCounter.hpp"
#include "tessel/commandClient.hpp"
#include "tessel/commandServer.hpp"
#include "tessel/util.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"

namespace Qdx::Backend {
namespace {

using Qdx::Test::FlushCounter;
using Qdx::Test::TraceRecorder;
using testing::ElementsAre;
using testing::IsEmpty;
using Trace::Level;

// A registry that answers what a test sets and writes down what was asked of it.
class FakeBackend : public QuardexBeIf {
public:
    virtual ~FakeBackend() = default;

    ErrorType pullFilterData(FilterId id, Clear clear, std::string& output) override {
        calls.push_back("pull " + text(id) + (clear == Clear::Yes ? " clear" : " keep"));
        output += data;
        return status;
    }
    ErrorType printFilterData(std::optional<FilterId> id, std::optional<unsigned int> limit,
                              std::string& output) override {
        calls.push_back("print " + (id ? text(*id) : "first") + " " +
                        (limit ? std::to_string(*limit) : "all"));
        output = data;
        return status;
    }
    bool hasReachedMaxNumberOfFilters() const override { return full; }
    ErrorType createFilter(const FilterId& id, const std::string& name,
                           const std::vector<CaptureStatement>& statements,
                           unsigned long memoryLimit, Enabled enabled, Static isStatic,
                           Printable printable) override {
        std::ostringstream call;
        call << "create " << id << " " << name << " " << statements.size() << " " << memoryLimit
             << " " << static_cast<int>(enabled) << static_cast<int>(isStatic)
             << static_cast<int>(printable);
        calls.push_back(call.str());
        return status;
    }
    std::optional<FilterId> findFilter(const std::string& name) const override {
        return name == known ? std::optional(FilterId{42}) : std::nullopt;
    }
    std::optional<std::string> listFilters(Printable printable) const override {
        return printable == Printable::Yes ? printableListing : listing;
    }
    void enableFilter(const FilterId& id) override { calls.push_back("enable " + text(id)); }
    void disableFilter(const FilterId& id) override { calls.push_back("disable " + text(id)); }
    void deleteFilter(FilterId id, std::ostream& out) override {
        calls.push_back("delete " + text(id));
        out << "deleted";
    }
    void deleteAllFilters(std::ostream& out) override { out << "deleted all"; }
    void clearAllFilters(std::ostream& out) override { out << "cleared all"; }

    std::string known = "known";
    ErrorType status = ErrorType::NoError;
    std::string data;
    bool full = false;
    std::optional<std::string> listing;
    std::optional<std::string> printableListing;
    std::vector<std::string> calls;

private:
    static std::string text(FilterId id) { return std::to_string(static_cast<std::int64_t>(id)); }
};

struct Answer {
    int result;
    std::string text;
    friend bool operator==(const Answer&, const Answer&) = default;
};

void PrintTo(const Answer& answer, std::ostream* out) {
    *out << answer.result << " \"" << answer.text << '"';
}

const Answer invalidCommand{1, "Invalid command\n"};
const Answer noSuchFilter{1, "No entry with this filterID\n"};
const Answer tableFull{2, "Reached maximum number of filters.\n"};
const Answer failed{2, "Failed to execute command\n"};

class QuardexShellCommandsTest : public testing::Test {
protected:
    QuardexShellCommandsTest() {
        commands.initShellCommandDch(true);
        commands.initShellCommandRodc(true);
        TraceRecorder::instance().clear();
    }

    // Types a line.
    Answer type(const std::string& line) {
        std::ostringstream out;
        const auto words = Tessel::Util::tokenize(line, " ");
        const int result =
            line.starts_with("rodc") ? commands.cmdRodc(words, out) : commands.cmdDch(words, out);
        return {result, out.str()};
    }

    // How often a line's answer is flushed.
    int flushesOf(const std::string& line) {
        FlushCounter counter;
        std::ostream out(&counter);
        const auto words = Tessel::Util::tokenize(line, " ");
        line.starts_with("rodc") ? commands.cmdRodc(words, out) : commands.cmdDch(words, out);
        return counter.flushes();
    }

    // What a handler itself says to words, whatever row they would reach.
    template <typename Handler>
    Answer ask(Handler handler, const QuardexShellCommands::Args& words) {
        std::ostringstream out;
        const int result = (commands.*handler)(words, out);
        return {result, out.str()};
    }

    FakeBackend backend;
    QuardexShellCommands commands{&backend};
};

// --- Tables and registration -------------------------------------------------------------------

std::vector<std::pair<std::string, std::string>> rowsOf(
    const std::vector<Bevel::CmdTableHelper::CmdDefinition>& table) {
    std::vector<std::pair<std::string, std::string>> rows;
    rows.reserve(table.size());
    for (const auto& row : table) {
        rows.emplace_back(row.syntax, row.help);
    }
    return rows;
}

TEST_F(QuardexShellCommandsTest, DchTableStandsWordForWord) {
    using testing::Pair;
    EXPECT_THAT(
        rowsOf(commands.dchCommands),
        ElementsAre(
            Pair("dch filter pull { keep | clear } <filterId>",
                 "Extract data from an existing filter. Choose whether the extracted data should "
                 "be cleared from the filter or remain for subsequent pull requests."),
            Pair("dch filter status", "Show status of existing filters."),
            Pair("dch filter enable <filterId>", "Enable a filter."),
            Pair("dch filter disable <filterId>", "Disable a filter."),
            Pair("dch filter delete <filterId>", "Delete a filter and all associated data."),
            Pair("dch filter deleteAll", "Delete all filters and all associated data."),
            Pair("dch filter clearAll", "Clear data from all filters."),
            Pair("dch fs create limit < 0 | memoryLimit>",
                 "Create a filter manually. This is the start of the transaction."),
            Pair("dch fs add < transaction_id >",
                 "Create a filter manually. This adds capture statements to the transaction. "
                 "Transaction_id is returned at 'dch fs create'."),
            Pair("dch fs commit < transaction_id >",
                 "Create a filter manually. This adds capture statements to the transaction. "
                 "Transaction_id is returned at 'dch fs create'.")));
}

TEST_F(QuardexShellCommandsTest, RodcTableStandsWordForWord) {
    using testing::Pair;
    EXPECT_THAT(
        rowsOf(commands.rodcCommands),
        ElementsAre(Pair("rodc print <filterId>", "Print data for the filter"),
                    Pair("rodc list", "Show rodc filter list of names and associated tags"),
                    Pair("rodc show <numberOfMeasurements>",
                         "Show the most recent measurements, as specified by the parameter")));
}

TEST_F(QuardexShellCommandsTest, InitialisationSaysWhetherTheCommandsAreEnabled) {
    commands.initShellCommandDch(true);
    commands.initShellCommandRodc(false);
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Info),
                ElementsAre("'dch' command is enabled", "'rodc' command is disabled"));
    TraceRecorder::instance().clear();
    commands.initShellCommandDch(false);
    commands.initShellCommandRodc(true);
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Info),
                ElementsAre("'dch' command is disabled", "'rodc' command is enabled"));
}

TEST_F(QuardexShellCommandsTest, EveryRowOfADisabledDchAnswersThatItIsDisabled) {
    commands.initShellCommandDch(false);
    const Answer disabled{1,
                          "Since data collection is disabled, the functionality for this command "
                          "is disabled.\n"};
    for (const auto* line :
         {"dch filter pull keep known", "dch filter pull", "dch filter status",
          "dch filter enable known", "dch filter disable known", "dch filter delete known",
          "dch filter deleteAll", "dch filter clearAll", "dch fs create limit 0",
          "dch fs create nonsense", "dch fs add 0", "dch fs commit 0"}) {
        EXPECT_EQ(type(line), disabled) << line;
    }
    EXPECT_THAT(backend.calls, IsEmpty());
    EXPECT_THAT(rowsOf(commands.dchCommands), testing::SizeIs(10));
}

TEST_F(QuardexShellCommandsTest, EveryRowOfADisabledRodcAnswersThatItIsDisabled) {
    commands.initShellCommandRodc(false);
    const Answer disabled{1,
                          "Since radio observability data collection is disabled, the "
                          "functionality for this command is disabled.\n"};
    for (const auto* line : {"rodc print known", "rodc list", "rodc show 1", "rodc show x"}) {
        EXPECT_EQ(type(line), disabled) << line;
    }
    EXPECT_THAT(backend.calls, IsEmpty());
}

// The command words that a unit's shell lists.
std::string listing() {
    std::string words;
    Tessel::CommandClient::list({[&](std::string_view bytes) { words += bytes; },
                                 [&](std::string_view bytes) { words += bytes; }});
    return words;
}

TEST_F(QuardexShellCommandsTest, CommandIsHiddenExactlyWhileItIsDisabled) {
    const Qdx::Test::UnitRoot root;
    Tessel::Host::V1::CommandServer server(nullptr);
    server.serve();
    EXPECT_EQ(listing(), "dch\nrodc\n");
    commands.initShellCommandRodc(false);
    EXPECT_EQ(listing(), "dch\n");
    commands.initShellCommandDch(false);
    EXPECT_EQ(listing(), "");
    commands.initShellCommandRodc(true);
    EXPECT_EQ(listing(), "rodc\n");
}

// A backend whose registry fails with an exception.
class ThrowingBackend final : public FakeBackend {
public:
    void enableFilter(const FilterId&) override { throw std::runtime_error("no registry"); }
    void disableFilter(const FilterId&) override { throw 7; }
};

TEST_F(QuardexShellCommandsTest, ExceptionOfAHandlerLooksLikeSuccessAndIsTraced) {
    ThrowingBackend throwing;
    QuardexShellCommands guarded(&throwing);
    guarded.initShellCommandDch(true);
    TraceRecorder::instance().clear();
    std::ostringstream out;
    EXPECT_EQ(guarded.cmdDch({"dch", "filter", "enable", "known"}, out), 0);
    EXPECT_EQ(guarded.cmdDch({"dch", "filter", "disable", "known"}, out), 0);
    EXPECT_EQ(out.str(), "");
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Error),
                ElementsAre("Caught exception: no registry", "Caught unknown exception"));
    commands.initShellCommandDch(true);
}

TEST_F(QuardexShellCommandsTest, AnyOtherResultOfAHandlerIsAFailureToTheShell) {
    for (const int result : {1, 2, 9, 11, 19, 21, -1, -10, 256, 266}) {
        commands.dchCommands.front().handler = [result](int, const char* const*, std::ostream&) {
            return result;
        };
        commands.rodcCommands.front().handler = commands.dchCommands.front().handler;
        commands.initShellCommandDch(true);
        commands.initShellCommandRodc(true);
        EXPECT_EQ(type("dch filter pull"), (Answer{2, ""})) << result;
        EXPECT_EQ(type("rodc print"), (Answer{2, ""})) << result;
    }
}

// --- Completion --------------------------------------------------------------------------------

TEST_F(QuardexShellCommandsTest, CompletesFiltersByNameAndNumber) {
    backend.listing = " Filter a (3): Enabled: Yes, FilterTag(s):\n";
    backend.printableListing = " Filter b (2): Enabled: Yes, FilterTag(s):\n";
    EXPECT_THAT(commands.completeDch("filterId"), ElementsAre("a", "3", "b", "2"));
    EXPECT_THAT(commands.completeRodc("filterId"), ElementsAre("b", "2"));
}

TEST_F(QuardexShellCommandsTest, CompletesNoFiltersWhereThereAreNone) {
    EXPECT_THAT(commands.completeDch("filterId"), IsEmpty());
    EXPECT_THAT(commands.completeRodc("filterId"), IsEmpty());
}

TEST_F(QuardexShellCommandsTest, CompletesTheOpenTransactions) {
    type("dch fs create limit 0");
    type("dch fs create limit 0");
    type("dch fs create limit 0");
    EXPECT_THAT(commands.completeDch("transaction_id"), ElementsAre("0", "1", "2"));
    type("dch fs add 1 list count 1");
    type("dch fs commit 1");
    EXPECT_THAT(commands.completeDch("transaction_id"), ElementsAre("0", "2"));
    EXPECT_THAT(commands.completeRodc("transaction_id"), IsEmpty());
}

TEST_F(QuardexShellCommandsTest, CompletesNothingForOtherParameters) {
    backend.listing = " Filter a (3): Enabled: Yes, FilterTag(s):\n";
    backend.printableListing = backend.listing;
    type("dch fs create limit 0");
    for (const auto* parameter : {"", "0 | memoryLimit", "numberOfMeasurements", "filterid"}) {
        EXPECT_THAT(commands.completeDch(parameter), IsEmpty()) << parameter;
        EXPECT_THAT(commands.completeRodc(parameter), IsEmpty()) << parameter;
    }
}

// The values of a parameter as a unit's shell tells them.
std::string values(const std::string& command, const std::string& parameter) {
    std::string lines;
    Tessel::CommandClient::complete(command, parameter,
                                    {[&](std::string_view bytes) { lines += bytes; },
                                     [&](std::string_view bytes) { lines += bytes; }});
    return lines;
}

TEST_F(QuardexShellCommandsTest, CommandIsCompletedExactlyWhileItIsEnabled) {
    const Qdx::Test::UnitRoot root;
    Tessel::Host::V1::CommandServer server(nullptr);
    server.serve();
    backend.printableListing = " Filter b (2): Enabled: Yes, FilterTag(s):\n";
    EXPECT_EQ(values("dch", "filterId"), "b\n2\n");
    EXPECT_EQ(values("rodc", "filterId"), "b\n2\n");
    commands.initShellCommandRodc(false);
    EXPECT_EQ(values("rodc", "filterId"), "");
    EXPECT_EQ(values("dch", "filterId"), "b\n2\n");
    commands.initShellCommandDch(false);
    EXPECT_EQ(values("dch", "filterId"), "");
    commands.initShellCommandDch(true);
    EXPECT_EQ(values("dch", "filterId"), "b\n2\n");
}

// --- Flushing ----------------------------------------------------------------------------------

TEST_F(QuardexShellCommandsTest, ReportsAreFlushedOnce) {
    for (const auto* line :
         {"dch filter enable", "dch filter enable x", "dch filter disable x", "dch filter delete x",
          "dch filter pull keep x", "dch filter pull keep known", "dch filter status",
          "dch fs create", "dch fs create limit 0", "dch fs add x", "dch fs add 0 nonsense",
          "dch fs commit x", "dch fs commit 7", "rodc print x", "rodc show x"}) {
        EXPECT_EQ(flushesOf(line), 1) << line;
    }
    type("dch fs add 0 list count 1");
    EXPECT_EQ(flushesOf("dch fs commit 0"), 1);
    backend.status = ErrorType::NoDataYet;
    for (const auto* line : {"dch filter pull keep known", "rodc print known", "rodc show 1"}) {
        EXPECT_EQ(flushesOf(line), 1) << line;
    }
    backend.full = true;
    for (const auto* line : {"dch fs create limit 0", "dch fs add 0", "dch fs commit 0"}) {
        EXPECT_EQ(flushesOf(line), 1) << line;
    }
}

TEST_F(QuardexShellCommandsTest, TextsOfTheBackendAndSilenceAreNotFlushed) {
    type("dch fs create limit 0");
    backend.listing = "listing\n";
    backend.data = "report\n";
    for (const auto* line :
         {"dch filter status", "dch filter enable known", "dch filter disable known",
          "dch filter delete known", "dch filter deleteAll", "dch filter clearAll",
          "dch fs add 0 list count 1", "rodc print known", "rodc show 1", "rodc list"}) {
        EXPECT_EQ(flushesOf(line), 0) << line;
    }
    EXPECT_EQ(type("rodc list"), (Answer{0, "No printable filters exist\n"}));
    backend.printableListing = "printable\n";
    EXPECT_EQ(flushesOf("rodc list"), 0);
}

TEST_F(QuardexShellCommandsTest, AnswersOfDisabledCommandsAreNotFlushed) {
    commands.initShellCommandDch(false);
    commands.initShellCommandRodc(false);
    EXPECT_EQ(flushesOf("dch filter status"), 0);
    EXPECT_EQ(flushesOf("rodc list"), 0);
}

// --- dch filter --------------------------------------------------------------------------------

TEST_F(QuardexShellCommandsTest, EnablesAFilterInSilence) {
    EXPECT_EQ(type("dch filter enable known"), (Answer{0, ""}));
    EXPECT_THAT(backend.calls, ElementsAre("enable 42"));
}

TEST_F(QuardexShellCommandsTest, DisablesAFilterInSilence) {
    EXPECT_EQ(type("dch filter disable known"), (Answer{0, ""}));
    EXPECT_THAT(backend.calls, ElementsAre("disable 42"));
}

TEST_F(QuardexShellCommandsTest, DeletesAFilterUnderBothSpellings) {
    EXPECT_EQ(type("dch filter delete known"), (Answer{0, "deleted"}));
    EXPECT_EQ(type("dch filter deleteFilter known"), (Answer{0, "deleted"}));
    EXPECT_THAT(backend.calls, ElementsAre("delete 42", "delete 42"));
}

TEST_F(QuardexShellCommandsTest, UnknownFilterIsReported) {
    for (const auto* line :
         {"dch filter enable x", "dch filter disable x", "dch filter delete x",
          "dch filter deleteFilter x", "dch filter pull keep x", "rodc print x"}) {
        EXPECT_EQ(type(line), noSuchFilter) << line;
    }
    EXPECT_THAT(backend.calls, IsEmpty());
}

TEST_F(QuardexShellCommandsTest, LineThatNoExpressionMatchesIsInvalid) {
    for (const auto* line :
         {"dch filter enable", "dch filter enable a b", "dch filter disable", "dch filter delete",
          "dch filter delete a b", "dch filter pull", "dch filter pull keep",
          "dch filter pull drop known", "dch filter pull keep a b", "dch fs add", "dch fs add x",
          "dch fs commit", "dch fs commit x", "dch fs commit 1 2", "rodc print", "rodc print a b",
          "rodc show", "rodc show x", "rodc show -1"}) {
        EXPECT_EQ(type(line), invalidCommand) << line;
    }
    EXPECT_THAT(backend.calls, IsEmpty());
}

TEST_F(QuardexShellCommandsTest, HandlersWithoutWordsReportAnInvalidCommand) {
    EXPECT_EQ(ask(&QuardexShellCommands::handleCommandFilterEnable, {}),
              (Answer{10, "Invalid command\n"}));
    EXPECT_EQ(ask(&QuardexShellCommands::handleCommandFsCreate, {}),
              (Answer{10, "Invalid command\n"}));
}

TEST_F(QuardexShellCommandsTest, StatusListsTheFiltersThatAreNotPrintable) {
    backend.printableListing = "printable";
    EXPECT_EQ(type("dch filter status"), (Answer{0, "No filters found\n"}));
    backend.listing = "the listing";
    EXPECT_EQ(type("dch filter status"), (Answer{0, "the listing"}));
}

TEST_F(QuardexShellCommandsTest, HandlersWithoutAnExpressionDoNotLookAtTheirWords) {
    EXPECT_EQ(type("dch filter status with more words"), (Answer{0, "No filters found\n"}));
    EXPECT_EQ(type("dch filter deleteAll x"), (Answer{0, "deleted all"}));
    EXPECT_EQ(type("dch filter clearAll x"), (Answer{0, "cleared all"}));
}

TEST_F(QuardexShellCommandsTest, PullWritesBase64BetweenItsMarkers) {
    backend.data = std::string("\x08\x01\xff\x00", 4);
    EXPECT_EQ(type("dch filter pull keep known"), (Answer{0, "<QdxOutput>CAH/AA==</QdxOutput>\n"}));
    EXPECT_EQ(type("dch filter pull clear known"),
              (Answer{0, "<QdxOutput>CAH/AA==</QdxOutput>\n"}));
    EXPECT_THAT(backend.calls, ElementsAre("pull 42 keep", "pull 42 clear"));
}

TEST_F(QuardexShellCommandsTest, PullOfNoBytesWritesTheMarkersAlone) {
    EXPECT_EQ(type("dch filter pull keep known"), (Answer{0, "<QdxOutput></QdxOutput>\n"}));
}

TEST_F(QuardexShellCommandsTest, RefusedPullReportsWhy) {
    backend.status = ErrorType::MetaDataNotSet;
    EXPECT_EQ(type("dch filter pull keep known"), (Answer{2, "Meta data is not set yet\n"}));
    backend.status = ErrorType::NoDataYet;
    EXPECT_EQ(type("dch filter pull keep known"),
              (Answer{2, "Not enough data yet or not enough filter memory\n"}));
}

// --- rodc --------------------------------------------------------------------------------------

TEST_F(QuardexShellCommandsTest, RodcPrintWritesTheReportAsItStands) {
    backend.data = "report";
    EXPECT_EQ(type("rodc print known"), (Answer{0, "report"}));
    EXPECT_THAT(backend.calls, ElementsAre("print 42 all"));
}

TEST_F(QuardexShellCommandsTest, RodcShowLimitsTheReportOfTheFirstPrintableFilter) {
    backend.data = "report";
    EXPECT_EQ(type("rodc show 0"), (Answer{0, "report"}));
    EXPECT_EQ(type("rodc show 25"), (Answer{0, "report"}));
    EXPECT_EQ(type("rodc show 4294967296"), (Answer{0, "report"}));
    EXPECT_THAT(backend.calls,
                ElementsAre("print first 0", "print first 25", "print first 4294967295"));
}

TEST_F(QuardexShellCommandsTest, RefusedReportSaysWhy) {
    backend.status = ErrorType::FilterDisabled;
    EXPECT_EQ(type("rodc print known"), (Answer{2, "This filter is disabled\n"}));
    EXPECT_EQ(type("rodc show 1"), (Answer{2, "This filter is disabled\n"}));
}

TEST_F(QuardexShellCommandsTest, RodcListListsThePrintableFilters) {
    backend.listing = "others";
    EXPECT_EQ(type("rodc list"), (Answer{0, "No printable filters exist\n"}));
    backend.printableListing = "printable";
    EXPECT_EQ(type("rodc list"), (Answer{0, "printable"}));
}

// --- dch fs ------------------------------------------------------------------------------------

TEST_F(QuardexShellCommandsTest, TransactionBecomesAFilterNamedAfterItsId) {
    EXPECT_EQ(type("dch fs create limit 0"), (Answer{0, "Created transaction: 0\n"}));
    EXPECT_EQ(type("dch fs add 0 tags CPU list count 5"), (Answer{0, ""}));
    EXPECT_EQ(type("dch fs add 0 max count 10 100"), (Answer{0, ""}));
    EXPECT_EQ(type("dch fs commit 0"), (Answer{0, "Filter ID is: 11\n"}));
    EXPECT_THAT(backend.calls, ElementsAre("create 11 11 2 0 011"));
}

TEST_F(QuardexShellCommandsTest, MemoryLimitTravelsUnchanged) {
    type("dch fs create limit 18446744073709551615");
    type("dch fs add 0 list count 5");
    type("dch fs commit 0");
    EXPECT_THAT(backend.calls, ElementsAre("create 11 11 1 18446744073709551615 011"));
}

TEST_F(QuardexShellCommandsTest, MemoryLimitTooLargeIsTheLargestThereIs) {
    type("dch fs create limit 99999999999999999999");
    type("dch fs add 0 list count 5");
    type("dch fs commit 0");
    EXPECT_THAT(backend.calls, ElementsAre("create 11 11 1 18446744073709551615 011"));
}

TEST_F(QuardexShellCommandsTest, CreateWithoutAValidLimitFailsAndUsesNoTransactionUp) {
    for (const auto* line :
         {"dch fs create", "dch fs create limit", "dch fs create limit x", "dch fs create limit 5 ",
          "dch fs create limit 5 6", "dch fs create limit -1", "dch fs createlimit 5"}) {
        EXPECT_EQ(type(line), failed) << line;
    }
    EXPECT_EQ(type("dch fs create limit 7"), (Answer{0, "Created transaction: 0\n"}));
}

TEST_F(QuardexShellCommandsTest, EveryStepTestsTheNumberOfFiltersFirst) {
    type("dch fs create limit 0");
    type("dch fs add 0 list count 1");
    backend.full = true;
    EXPECT_EQ(type("dch fs create limit x"), tableFull);
    EXPECT_EQ(type("dch fs add 0 nonsense"), tableFull);
    EXPECT_EQ(type("dch fs commit 0"), tableFull);
    EXPECT_THAT(backend.calls, IsEmpty());

    backend.full = false;
    EXPECT_EQ(type("dch fs commit 0"), (Answer{0, "Filter ID is: 11\n"}));
}

TEST_F(QuardexShellCommandsTest, InvalidLineComesBeforeTheNumberOfFilters) {
    backend.full = true;
    EXPECT_EQ(type("dch fs add x"), invalidCommand);
    EXPECT_EQ(type("dch fs commit x"), invalidCommand);
}

TEST_F(QuardexShellCommandsTest, BadStatementIsRefusedWithTheReasonInTheTrace) {
    type("dch fs create limit 0");
    EXPECT_EQ(type("dch fs add 0 tags CPU min count 10 25"), failed);
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Trace5),
                ElementsAre("Could not parse capture statement ' tags CPU min count 10 25' - "
                            "stopped at ' min count 10 25'"));
    EXPECT_EQ(type("dch fs add 0 list count 1"), (Answer{0, ""}));
}

TEST_F(QuardexShellCommandsTest, AddWithoutAStatementReachesTheParserWithAnEmptyText) {
    type("dch fs create limit 0");
    EXPECT_EQ(type("dch fs add 0"), failed);
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Trace5),
                ElementsAre("Could not parse capture statement '' - stopped at ''"));
}

TEST_F(QuardexShellCommandsTest, AddToAnUnknownTransactionIsRefusedWithTheReasonInTheTrace) {
    EXPECT_EQ(type("dch fs add 3 list count 1"), failed);
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Trace5),
                ElementsAre("Trying to add a capture statement to unknown transaction 3"));
}

TEST_F(QuardexShellCommandsTest, BadStatementForAnUnknownTransactionIsABadStatement) {
    EXPECT_EQ(type("dch fs add 3 nonsense"), failed);
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Trace5),
                ElementsAre("Could not parse capture statement ' nonsense' - stopped at ' "
                            "nonsense'"));
}

TEST_F(QuardexShellCommandsTest, StatementNumberTooLargeEndsTheCommandInTheGuard) {
    type("dch fs create limit 0");
    EXPECT_EQ(type("dch fs add 0 list count 4294967296"), (Answer{0, ""}));
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Error),
                ElementsAre("Caught exception: vector::_M_range_check: __n (which is 0) >= "
                            "this->size() (which is 0)"));
    EXPECT_EQ(type("dch fs commit 0"),
              (Answer{2, "Trying to commit a transaction without capture statements\n"}));
}

TEST_F(QuardexShellCommandsTest, CommitOfAnUnknownTransactionSaysSoToTheUser) {
    EXPECT_EQ(type("dch fs commit 5"),
              (Answer{2, "Trying to commit transaction 5 which does not exist\n"}));
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Trace5),
                ElementsAre("Trying to commit transaction 5 which does not exist"));
}

TEST_F(QuardexShellCommandsTest, CommitWithoutStatementsLeavesTheTransactionOpen) {
    type("dch fs create limit 0");
    EXPECT_EQ(type("dch fs commit 0"),
              (Answer{2, "Trying to commit a transaction without capture statements\n"}));
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Trace5),
                ElementsAre("Trying to commit a transaction without capture statements"));
    EXPECT_EQ(type("dch fs add 0 list count 1"), (Answer{0, ""}));
    EXPECT_EQ(type("dch fs commit 0"), (Answer{0, "Filter ID is: 11\n"}));
}

TEST_F(QuardexShellCommandsTest, FailedCommitUsesTheTransactionUpButNotTheId) {
    type("dch fs create limit 0");
    type("dch fs add 0 list count 1");
    backend.status = ErrorType::NotEnoughMemory;
    EXPECT_EQ(type("dch fs commit 0"), (Answer{2, "Not enough memory Error\n"}));
    EXPECT_EQ(type("dch fs commit 0"),
              (Answer{2, "Trying to commit transaction 0 which does not exist\n"}));

    backend.status = ErrorType::NoError;
    EXPECT_EQ(type("dch fs create limit 0"), (Answer{0, "Created transaction: 1\n"}));
    type("dch fs add 1 list count 1");
    EXPECT_EQ(type("dch fs commit 1"), (Answer{0, "Filter ID is: 11\n"}));
}

TEST_F(QuardexShellCommandsTest, OpenTransactionsDoNotInterfere) {
    type("dch fs create limit 1");
    type("dch fs create limit 2");
    type("dch fs add 1 list count 1");
    type("dch fs add 0 list count 1 list count 2");
    type("dch fs add 1 list count 2");
    EXPECT_EQ(type("dch fs commit 1"), (Answer{0, "Filter ID is: 11\n"}));
    EXPECT_EQ(type("dch fs commit 0"), (Answer{0, "Filter ID is: 12\n"}));
    EXPECT_THAT(backend.calls, ElementsAre("create 11 11 2 2 011", "create 12 12 1 1 011"));
}

TEST_F(QuardexShellCommandsTest, TransactionNumberTooLargeIsTheLargestThereIs) {
    EXPECT_EQ(type("dch fs commit 99999999999"),
              (Answer{2, "Trying to commit transaction 4294967295 which does not exist\n"}));
}

TEST_F(QuardexShellCommandsTest, TransactionWhoseIdComesRoundAgainIsGivenUp) {
    type("dch fs create limit 1");
    type("dch fs add 0 list count 1");
    commands.nextTransactionId = 0xFFFFFFFF;
    EXPECT_EQ(type("dch fs create limit 2"), (Answer{0, "Created transaction: 4294967295\n"}));
    EXPECT_EQ(type("dch fs create limit 3"), (Answer{0, "Created transaction: 0\n"}));
    EXPECT_EQ(type("dch fs commit 0"),
              (Answer{2, "Trying to commit a transaction without capture statements\n"}));
    type("dch fs add 0 list count 5");
    EXPECT_EQ(type("dch fs commit 0"), (Answer{0, "Filter ID is: 11\n"}));
    EXPECT_THAT(backend.calls, ElementsAre("create 11 11 1 3 011"));
    EXPECT_THAT(commands.completeDch("transaction_id"), ElementsAre("4294967295"));
}

TEST_F(QuardexShellCommandsTest, NamedCommitGivesTheFilterItsNameAndFlags) {
    const auto transaction = commands.fsCreate(" limit 9", Enabled::No, Printable::Yes);
    ASSERT_EQ(transaction, 0);
    ASSERT_TRUE(commands.fsAdd(" list count 1", *transaction));
    const auto id = commands.fsCommit(*transaction, "name", Static::Yes);
    EXPECT_EQ(std::get<FilterId>(id), FilterId{11});
    EXPECT_THAT(backend.calls, ElementsAre("create 11 name 1 9 100"));
}

}  // namespace
}  // namespace Qdx::Backend
