// Filters that the configuration prescribes: which of them the collector has after the loading, and
// what the trace says about the others.
#include <gmock/gmock.h>

#include <sstream>
#include <stdexcept>

#include "quardex.hpp"
#include "quardexShellCommands.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"

namespace Qdx::Backend {
namespace {

using Qdx::Test::TraceRecorder;
using testing::ElementsAre;
using testing::IsEmpty;
using Trace::Level;

class StaticFiltersTest : public testing::Test {
protected:
    // Loads what the table [qdx.staticFilters] prescribes.
    bool load(const std::string& staticFilters) {
        root.writeDatabase("[qdx]\n" + collectorKeys + "[qdx.staticFilters]\n" + staticFilters);
        collector.allocateGlobalMemory();
        collector.determineMaxNumberOfFilters();
        TraceRecorder::instance().clear();
        return commands.createStaticFilters();
    }

    // The filters, one line each.
    std::string listed(Printable printable) const {
        return collector.listFilters(printable).value_or("none");
    }

    static std::vector<std::string> texts(Level level) {
        return TraceRecorder::instance().texts(level);
    }

    // A specification of one filter that is not to come into being, and the line that says why.
    void expectRefused(const std::string& specification, const std::string& error) {
        EXPECT_FALSE(load("enabledByDefault = ['bad']\nbad = " + specification + "\n"));
        EXPECT_THAT(texts(Level::Error), ElementsAre(error));
        EXPECT_EQ(listed(Printable::No), "none");
    }

    Qdx::Test::UnitRoot root;
    std::string collectorKeys;
    Quardex collector;
    QuardexShellCommands commands{&collector};
};

const std::string counting = "['dch', 'limit', '0', 'dch', 'list', 'count', '5']\n";

TEST_F(StaticFiltersTest, NoKeyAtAllIsFineAndGivesNoFilter) {
    EXPECT_TRUE(load(""));
    EXPECT_EQ(listed(Printable::No), "none");
    EXPECT_EQ(listed(Printable::Yes), "none");
    EXPECT_THAT(TraceRecorder::instance().lines(), IsEmpty());
}

TEST_F(StaticFiltersTest, ListThatIsNoListOfStringsCountsAsAbsent) {
    EXPECT_TRUE(load("enabledByDefault = [1]\ndisabledByDefault = true\n"));
    EXPECT_THAT(TraceRecorder::instance().lines(), IsEmpty());
}

TEST_F(StaticFiltersTest, FiltersComeInListOrderEnabledOnesFirstWithIdsFromEleven) {
    EXPECT_TRUE(
        load("disabledByDefault = ['c']\nenabledByDefault = ['b', 'a']\na = " + counting +
             "b = ['dch', 'limit', '0', 'dch', 'tags', 'CPU', 'NET', 'list', 'count', '1']\n"
             "c = " +
             counting));
    EXPECT_EQ(listed(Printable::No),
              "Current Filter(s):\n"
              " Filter b (11): Enabled: Yes, FilterTag(s): CPU, NET\n"
              " Filter a (12): Enabled: Yes, FilterTag(s):\n"
              " Filter c (13): Enabled: No, FilterTag(s):\n");
    EXPECT_THAT(texts(Level::Error), IsEmpty());
}

TEST_F(StaticFiltersTest, TraceTellsTheTwoLists) {
    load("enabledByDefault = ['a', 'b']\ndisabledByDefault = []\na = " + counting +
         "b = " + counting);
    EXPECT_THAT(texts(Level::Trace5), ElementsAre("/qdx/staticFilters/enabledByDefault: {a, b}",
                                                  "/qdx/staticFilters/disabledByDefault: {}"));
}

TEST_F(StaticFiltersTest, OperatorsFiltersContinueTheNumbering) {
    EXPECT_TRUE(load("enabledByDefault = ['a']\na = " + counting));
    std::ostringstream out;
    commands.handleCommandFsCreate({"dch", "fs", "create", "limit", "0"}, out);
    commands.handleCommandFsAdd({"dch", "fs", "add", "1", "list", "count", "1"}, out);
    commands.handleCommandFsCommit({"dch", "fs", "commit", "1"}, out);
    EXPECT_EQ(out.str(), "Created transaction: 1\nFilter ID is: 12\n");
}

TEST_F(StaticFiltersTest, FilterIsFoundByItsConfiguredNameAndById) {
    EXPECT_TRUE(load("enabledByDefault = ['radio']\nradio = " + counting));
    EXPECT_EQ(collector.findFilter("radio"), FilterId{11});
    EXPECT_EQ(collector.findFilter("11"), FilterId{11});
}

TEST_F(StaticFiltersTest, FilterCannotBeDeleted) {
    EXPECT_TRUE(load("enabledByDefault = ['a']\na = " + counting));
    std::ostringstream out;
    collector.deleteFilter(FilterId{11}, out);
    EXPECT_EQ(out.str(), "Cannot delete static filters\n");
}

TEST_F(StaticFiltersTest, PrintableFiltersAreThoseOfTheList) {
    EXPECT_TRUE(load("enabledByDefault = ['a', 'b']\nprintable = ['other', 'b']\na = " + counting +
                     "b = " + counting));
    EXPECT_EQ(listed(Printable::No),
              "Current Filter(s):\n Filter a (11): Enabled: Yes, FilterTag(s):\n");
    EXPECT_EQ(listed(Printable::Yes),
              "Current Filter(s):\n Filter b (12): Enabled: Yes, FilterTag(s):\n"
              "  name (tags)\n\n");
}

TEST_F(StaticFiltersTest, WithoutTheListNothingIsPrintable) {
    EXPECT_TRUE(load("enabledByDefault = ['a']\na = " + counting));
    std::ostringstream out;
    commands.handleCommandRodcList({"rodc", "list"}, out);
    EXPECT_EQ(out.str(), "No printable filters exist\n");
}

TEST_F(StaticFiltersTest, LimitBecomesTheFiltersBudget) {
    EXPECT_TRUE(
        load("enabledByDefault = ['a']\na = ['dch', 'limit', '5000', 'dch', 'list', "
             "'count', '1']\n"));
    const auto* memory = collector.getFilterMemory(FilterId{11});
    EXPECT_EQ(memory->getRemainingSize(), 5000 - memory->getAllocatedSize());
}

TEST_F(StaticFiltersTest, ElementMayHoldSeveralWords) {
    EXPECT_TRUE(
        load("enabledByDefault = ['a']\n"
             "a = ['dch', 'limit 0', 'dch', 'tags CPU', 'min count 5 10', 'dch', "
             "'tags NET list duration 60']\n"));
    EXPECT_EQ(listed(Printable::No),
              "Current Filter(s):\n Filter a (11): Enabled: Yes, FilterTag(s): CPU, NET\n");
}

TEST_F(StaticFiltersTest, OpenerInsideAnElementOpensNothing) {
    expectRefused("['dch', 'limit 0', 'dch', 'list count 1', 'dch fs']",
                  "Expected valid 'fs add' statement in static filter 'bad' specification, got "
                  "' list count 1 dch fs'");
}

TEST_F(StaticFiltersTest, NameWithoutASpecificationFails) {
    EXPECT_FALSE(load("enabledByDefault = ['missing']\n"));
    EXPECT_THAT(texts(Level::Error),
                ElementsAre("No static filter configuration found for filter 'missing'"));
}

TEST_F(StaticFiltersTest, FaultyFilterKeepsNoneOfTheOthersOut) {
    EXPECT_FALSE(
        load("enabledByDefault = ['missing', 'a']\ndisabledByDefault = ['b', 'lost']\n"
             "a = " +
             counting + "b = " + counting));
    EXPECT_THAT(texts(Level::Error),
                ElementsAre("No static filter configuration found for filter 'missing'",
                            "No static filter configuration found for filter 'lost'"));
    EXPECT_EQ(listed(Printable::No),
              "Current Filter(s):\n Filter a (11): Enabled: Yes, FilterTag(s):\n"
              " Filter b (12): Enabled: No, FilterTag(s):\n");
}

TEST_F(StaticFiltersTest, NameInBothListsIsCreatedOnceAndFails) {
    EXPECT_FALSE(load("enabledByDefault = ['a']\ndisabledByDefault = ['a']\na = " + counting));
    EXPECT_THAT(texts(Level::Info), ElementsAre("Filter with name 'a' already exists"));
    EXPECT_THAT(texts(Level::Error), IsEmpty());
    EXPECT_EQ(listed(Printable::No),
              "Current Filter(s):\n Filter a (11): Enabled: Yes, FilterTag(s):\n");
}

TEST_F(StaticFiltersTest, NameTwiceInOneListIsCreatedOnceAndFails) {
    EXPECT_FALSE(load("enabledByDefault = ['a', 'a', 'b']\na = " + counting + "b = " + counting));
    EXPECT_THAT(texts(Level::Info), ElementsAre("Filter with name 'a' already exists"));
    EXPECT_THAT(texts(Level::Error), IsEmpty());
    EXPECT_EQ(listed(Printable::No),
              "Current Filter(s):\n Filter a (11): Enabled: Yes, FilterTag(s):\n"
              " Filter b (12): Enabled: Yes, FilterTag(s):\n");
}

TEST_F(StaticFiltersTest, NameThatIsTheIdOfAnEarlierFilterExistsAlready) {
    EXPECT_FALSE(load("enabledByDefault = ['a', '11']\na = " + counting + "11 = " + counting));
    EXPECT_THAT(texts(Level::Info), ElementsAre("Filter with name '11' already exists"));
}

TEST_F(StaticFiltersTest, ExistingNameIsSaidBeforeAFaultyFirstWord) {
    EXPECT_FALSE(load("enabledByDefault = ['a', '11']\na = " + counting + "11 = ['limit']\n"));
    EXPECT_THAT(texts(Level::Info), ElementsAre("Filter with name '11' already exists"));
    EXPECT_THAT(texts(Level::Error), IsEmpty());
}

TEST_F(StaticFiltersTest, SpecificationBeginsWithTheOpener) {
    expectRefused("['limit', '0', 'dch', 'list count 1']",
                  "All filter specifications must begin with the word 'dch'");
}

TEST_F(StaticFiltersTest, FirstWordMustEqualTheOpener) {
    expectRefused("['dch limit 0', 'dch', 'list count 1']",
                  "All filter specifications must begin with the word 'dch'");
}

TEST_F(StaticFiltersTest, EmptySpecificationIsRefused) {
    expectRefused("[]", "All filter specifications must begin with the word 'dch'");
}

TEST_F(StaticFiltersTest, SpellingOutTheCreateCommandIsRefused) {
    expectRefused("['dch', 'fs', 'create', 'limit', '0', 'dch', 'list count 1']",
                  "Expected valid 'fs create' statement in static filter 'bad' specification, got "
                  "' fs create limit 0'");
}

TEST_F(StaticFiltersTest, SecondOpenerRightBehindTheFirstGivesAnEmptyCreateStatement) {
    expectRefused("['dch', 'dch', 'limit', '0', 'dch', 'list count 1']",
                  "Expected valid 'fs create' statement in static filter 'bad' specification, got "
                  "''");
}

TEST_F(StaticFiltersTest, CaptureStatementThatDoesNotParseIsNamed) {
    expectRefused("['dch', 'limit 0', 'dch', 'list count 1', 'dch', 'min count 10 25']",
                  "Expected valid 'fs add' statement in static filter 'bad' specification, got "
                  "' min count 10 25'");
    EXPECT_THAT(texts(Level::Trace5),
                ElementsAre("/qdx/staticFilters/enabledByDefault: {bad}",
                            "Could not parse capture statement ' min count 10 25' - stopped at "
                            "' min count 10 25'"));
}

TEST_F(StaticFiltersTest, RefusedFilterLeavesItsTransactionOpen) {
    expectRefused("['dch', 'limit 0', 'dch', 'list count 1', 'dch', 'nonsense']",
                  "Expected valid 'fs add' statement in static filter 'bad' specification, got "
                  "' nonsense'");
    EXPECT_EQ(std::get<FilterId>(commands.fsCommit(0, std::nullopt, Static::No)), FilterId{11});
}

TEST_F(StaticFiltersTest, EmptyCaptureStatementIsRefused) {
    expectRefused("['dch', 'limit 0', 'dch']",
                  "Expected valid 'fs add' statement in static filter 'bad' specification, got ''");
}

TEST_F(StaticFiltersTest, SpecificationWithoutCaptureStatementsCannotBeCommitted) {
    expectRefused("['dch', 'limit', '0']",
                  "Static filter 'bad' could not be committed: Trying to commit a transaction "
                  "without capture statements");
    EXPECT_THAT(texts(Level::Trace5),
                ElementsAre("/qdx/staticFilters/enabledByDefault: {bad}",
                            "Trying to commit a transaction without capture statements"));
}

TEST_F(StaticFiltersTest, FilterBeyondTheMaximumNumberCannotBeCommitted) {
    collectorKeys = "maxFilterLimit = 1\n";
    EXPECT_FALSE(load("enabledByDefault = ['a', 'b']\na = " + counting + "b = " + counting));
    EXPECT_THAT(
        texts(Level::Error),
        ElementsAre("Cannot create more filters, maximum number of filters reached! 1 filters "
                    "allocated.",
                    "Static filter 'b' could not be committed: " +
                        std::string(getErrorMsg(ErrorType::MaxFiltersReached))));
}

TEST_F(StaticFiltersTest, FilterBeyondTheBudgetCannotBeCommitted) {
    expectRefused("['dch', 'limit 1', 'dch', 'list count 1']",
                  "Static filter 'bad' could not be committed: " +
                      std::string(getErrorMsg(ErrorType::NotEnoughMemory)));
}

TEST_F(StaticFiltersTest, ExceptionOfTheParserPassesThrough) {
    EXPECT_THROW(load("enabledByDefault = ['a']\na = ['dch', 'limit 0', 'dch', 'list count "
                      "99999999999']\n"),
                 std::out_of_range);
}

TEST_F(StaticFiltersTest, StatementsOfAnyLengthAreRefusedWithoutHarm) {
    const std::string digits(100'000, '9');
    EXPECT_FALSE(load("enabledByDefault = ['a', 'b']\na = ['dch', 'limit " + digits +
                      "', 'dch', 'list count 1']\nb = ['dch', 'limit 0', 'dch', 'min count 1 " +
                      digits + "']\n"));
    EXPECT_THAT(texts(Level::Error),
                ElementsAre("Expected valid 'fs create' statement in static filter 'a' "
                            "specification, got ' limit " +
                                digits + "'",
                            "Expected valid 'fs add' statement in static filter 'b' "
                            "specification, got ' min count 1 " +
                                digits + "'"));
}

}  // namespace
}  // namespace Qdx::Backend
