#include "bevel/cmdTableHelper.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Bevel::CmdTableHelper {
namespace {

using Helper = V2::CmdTableHelperIf;

const std::vector<std::pair<std::string, std::string>> dchRows{
    {"dch filter pull { keep | clear } <filterId>",
     "Extract data from an existing filter. Choose whether the extracted data should be cleared "
     "from "
     "the filter or remain for subsequent pull requests."},
    {"dch filter status", "Show status of existing filters."},
    {"dch filter enable <filterId>", "Enable a filter."},
    {"dch filter disable <filterId>", "Disable a filter."},
    {"dch filter delete <filterId>", "Delete a filter and all associated data."},
    {"dch filter deleteAll", "Delete all filters and all associated data."},
    {"dch filter clearAll", "Clear data from all filters."},
    {"dch fs create limit < 0 | memoryLimit>",
     "Create a filter manually. This is the start of the transaction."},
    {"dch fs add < transaction_id >",
     "Create a filter manually. This adds capture statements to the transaction. Transaction_id is "
     "returned at 'dch fs create'."},
    {"dch fs commit < transaction_id >",
     "Create a filter manually. This adds capture statements to the transaction. Transaction_id is "
     "returned at 'dch fs create'."},
};

const std::vector<std::pair<std::string, std::string>> rodcRows{
    {"rodc print <filterId>", "Print data for the filter"},
    {"rodc list", "Show rodc filter list of names and associated tags"},
    {"rodc show <numberOfMeasurements>",
     "Show the most recent measurements, as specified by the parameter"},
};

// What executeCmd did: its result, the row that was called and what was written.
struct Outcome {
    int result;
    std::string row;
    std::string text;
};

class CmdTableHelperTest : public ::testing::Test {
protected:
    CmdTableHelperTest() {
        enter("dch", dchRows);
        enter("rodc", rodcRows);
    }

    void enter(const std::string& command,
               const std::vector<std::pair<std::string, std::string>>& rows) {
        std::vector<CmdDefinition> table;
        table.reserve(rows.size());
        for (const auto& [syntax, help] : rows) {
            table.push_back(
                {syntax,
                 [this, syntax = syntax](int count, const char* const* words, std::ostream&) {
                     reached = syntax;
                     received.assign(words, words + count);
                     return 42;
                 },
                 help});
        }
        helper.registerCmdTable(command, table);
    }

    Outcome execute(const std::string& line) {
        std::istringstream in(line);
        std::vector<std::string> words;
        for (std::string word; in >> word;) {
            words.push_back(word);
        }
        reached.clear();
        std::ostringstream out;
        const int result = helper.executeCmd(words, out);
        return {result, reached, out.str()};
    }

    void expectRow(const std::string& line, const std::string& row) {
        const Outcome outcome = execute(line);
        EXPECT_EQ(outcome.row, row) << line;
        EXPECT_EQ(outcome.result, 42) << line;
        EXPECT_EQ(outcome.text, "") << line;
    }

    // No row is called, and the usage tells exactly these rows of the table.
    void expectUsage(const std::string& line,
                     const std::vector<std::pair<std::string, std::string>>& rows) {
        std::string usage = "Usage:\n";
        for (const auto& [syntax, help] : rows) {
            usage.append("  ").append(syntax).append("\n      ").append(help).append("\n");
        }
        const Outcome outcome = execute(line);
        EXPECT_EQ(outcome.row, "") << line;
        EXPECT_EQ(outcome.result, Helper::invalidCommand) << line;
        EXPECT_EQ(outcome.text, usage) << line;
    }

    Helper& helper = Helper::getInstance();
    std::string reached;
    std::vector<std::string> received;
};

TEST_F(CmdTableHelperTest, FindsEachRowByItsWords) {
    expectRow("dch filter pull keep 11", dchRows[0].first);
    expectRow("dch filter pull clear 11", dchRows[0].first);
    expectRow("dch filter status", dchRows[1].first);
    expectRow("dch filter enable 11", dchRows[2].first);
    expectRow("dch filter disable 11", dchRows[3].first);
    expectRow("dch filter delete x", dchRows[4].first);
    expectRow("dch filter deleteAll", dchRows[5].first);
    expectRow("dch filter clearAll", dchRows[6].first);
    expectRow("dch fs create limit 0", dchRows[7].first);
    expectRow("dch fs add 1 tags A list count 1", dchRows[8].first);
    expectRow("dch fs commit 1", dchRows[9].first);
    expectRow("rodc print radio", rodcRows[0].first);
    expectRow("rodc list", rodcRows[1].first);
    expectRow("rodc show 10", rodcRows[2].first);
}

TEST_F(CmdTableHelperTest, RowWithoutItsParametersIsStillReached) {
    expectRow("dch filter pull", dchRows[0].first);
    expectRow("dch filter delete", dchRows[4].first);
    expectRow("dch fs add", dchRows[8].first);
    expectRow("rodc print", rodcRows[0].first);
}

TEST_F(CmdTableHelperTest, RowIsReachedByPartOfItsLiteralsWhenNoOtherComesAsNear) {
    expectRow("dch fs create", dchRows[7].first);
    expectRow("dch fs create 1000", dchRows[7].first);
}

TEST_F(CmdTableHelperTest, WordsBehindTheLiteralsDoNotMatter) {
    expectRow("dch filter status please", dchRows[1].first);
    expectRow("rodc list rodc print", rodcRows[1].first);
}

TEST_F(CmdTableHelperTest, LongerFormOfALiteralReachesTheRowThatTakesParameters) {
    expectRow("dch filter deleteFilter x", dchRows[4].first);
    expectRow("dch filter deleteFilter", dchRows[4].first);
    expectRow("dch filter enabled x", dchRows[2].first);
}

TEST_F(CmdTableHelperTest, LongerFormDoesNotReachARowWithoutParameters) {
    const std::vector<std::pair<std::string, std::string>> filterRows(dchRows.begin(),
                                                                      dchRows.begin() + 7);
    expectUsage("dch filter statusNow", filterRows);
    expectUsage("dch filter clearAllData", filterRows);
}

TEST_F(CmdTableHelperTest, ShorterFormOfALiteralReachesNothing) {
    const std::vector<std::pair<std::string, std::string>> filterRows(dchRows.begin(),
                                                                      dchRows.begin() + 7);
    expectUsage("dch filter del x", filterRows);
}

TEST_F(CmdTableHelperTest, LiteralsAreCaseSensitive) {
    const std::vector<std::pair<std::string, std::string>> filterRows(dchRows.begin(),
                                                                      dchRows.begin() + 7);
    expectUsage("dch filter Status", filterRows);
}

TEST_F(CmdTableHelperTest, LongerFormOfTwoRowsReachesNeither) {
    const std::vector<std::pair<std::string, std::string>> rows{{"tie go <place>", "Walk."},
                                                                {"tie goto <place>", "Jump."}};
    enter("tie", rows);
    expectUsage("tie gotoPlace x", rows);
}

TEST_F(CmdTableHelperTest, UsageTellsTheRowsThatComeNearest) {
    const std::vector<std::pair<std::string, std::string>> filterRows(dchRows.begin(),
                                                                      dchRows.begin() + 7);
    const std::vector<std::pair<std::string, std::string>> fsRows(dchRows.begin() + 7,
                                                                  dchRows.end());
    expectUsage("dch filter", filterRows);
    expectUsage("dch fs", fsRows);
    expectUsage("dch fs nonsense", fsRows);
    expectUsage("dch", dchRows);
    expectUsage("dch nonsense", dchRows);
    expectUsage("dch nonsense filter status", dchRows);
    expectUsage("rodc", rodcRows);
    expectUsage("rodc nonsense", rodcRows);
}

TEST_F(CmdTableHelperTest, UnknownCommandIsNotValid) {
    const Outcome outcome = execute("nonsense filter status");
    EXPECT_EQ(outcome.result, Helper::invalidCommand);
    EXPECT_EQ(outcome.text, "Unknown command: nonsense\n");
}

TEST_F(CmdTableHelperTest, EmptyLineIsNotValid) {
    const Outcome outcome = execute("");
    EXPECT_EQ(outcome.result, Helper::invalidCommand);
    EXPECT_EQ(outcome.text, "Unknown command: \n");
}

TEST_F(CmdTableHelperTest, RowThatDoesNotBeginWithTheCommandWordIsNotReached) {
    const std::vector<std::pair<std::string, std::string>> rows{{"other <x>", "Odd."}};
    enter("alias", rows);
    expectUsage("alias 1", rows);
}

TEST_F(CmdTableHelperTest, RowOfParametersAloneIsNotReached) {
    const std::vector<std::pair<std::string, std::string>> rows{{"<x>", "Odd."}, {"", "Odder."}};
    enter("bare", rows);
    expectUsage("bare 1", rows);
}

TEST_F(CmdTableHelperTest, HandlerGetsAllWordsWithANullBehindThem) {
    helper.registerCmdTable("words", {{"words <any>",
                                       [](int count, const char* const* words, std::ostream& out) {
                                           for (int i = 0; i < count; ++i) {
                                               out << words[i] << ';';
                                           }
                                           return words[count] == nullptr ? 0 : 1;
                                       },
                                       ""}});
    const Outcome outcome = execute("words one two");
    EXPECT_EQ(outcome.text, "words;one;two;");
    EXPECT_EQ(outcome.result, 0);
}

TEST_F(CmdTableHelperTest, GivesTheHandlersResult) {
    for (const int wanted : {0, 10, 20, -1}) {
        helper.registerCmdTable(
            "result",
            {{"result", [wanted](int, const char* const*, std::ostream&) { return wanted; }, ""}});
        EXPECT_EQ(execute("result").result, wanted);
    }
}

TEST_F(CmdTableHelperTest, WhatTheHandlerThrowsPassesThrough) {
    helper.registerCmdTable("broken", {{"broken",
                                        [](int, const char* const*, std::ostream&) -> int {
                                            throw std::runtime_error("out of order");
                                        },
                                        ""}});
    EXPECT_THROW(execute("broken"), std::runtime_error);
    expectRow("rodc list", rodcRows[1].first);
}

TEST_F(CmdTableHelperTest, RegisteringAgainReplacesTheTable) {
    enter("rodc", {{"rodc help", "Tell."}});
    expectRow("rodc help", "rodc help");
    expectRow("rodc list", "rodc help");
}

TEST_F(CmdTableHelperTest, GivesTheTableOfACommand) {
    const auto table = helper.getCmdTable("dch");
    ASSERT_TRUE(table.has_value());
    ASSERT_EQ(table->size(), dchRows.size());
    for (std::size_t row = 0; row < dchRows.size(); ++row) {
        EXPECT_EQ((*table)[row].syntax, dchRows[row].first);
        EXPECT_EQ((*table)[row].help, dchRows[row].second);
    }
    EXPECT_FALSE(helper.getCmdTable("nonsense").has_value());
}

TEST_F(CmdTableHelperTest, HandlerMayReplaceItsOwnTable) {
    helper.registerCmdTable("self", {{"self",
                                      [this](int, const char* const*, std::ostream&) {
                                          helper.registerCmdTable("self", {});
                                          return 3;
                                      },
                                      ""}});
    EXPECT_EQ(execute("self").result, 3);
    EXPECT_EQ(execute("self").result, Helper::invalidCommand);
}

TEST_F(CmdTableHelperTest, ThreadsExecuteWhileTablesAreReplaced) {
    const auto count = [](std::atomic<int>& calls) {
        return std::vector<CmdDefinition>{
            {"busy", [&calls](int, const char* const*, std::ostream&) { return ++calls, 0; }, ""}};
    };
    std::atomic<int> calls = 0;
    helper.registerCmdTable("busy", count(calls));
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 500; ++round) {
                std::ostringstream out;
                EXPECT_EQ(helper.executeCmd({"busy"}, out), 0);
                helper.registerCmdTable("busy", count(calls));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(calls, 2000);
}

}  // namespace
}  // namespace Bevel::CmdTableHelper
