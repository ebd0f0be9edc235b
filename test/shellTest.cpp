// The shell of the collector as an operator meets it: sessions over a pipe and at a terminal, and
// the completion of Bash, over qdxd with the library.
#include <gmock/gmock.h>

#include <fstream>

#include "support/collectorUnit.hpp"
#include "support/terminal.hpp"

namespace {

using namespace TestSupport;

constexpr const char* statusOf11 =
    "Current Filter(s):\n Filter 11 (11): Enabled: Yes, FilterTag(s): CPU\n";

class ShellTest : public testing::Test {
protected:
    ShellTest() { unit.start(); }

    // What a session says to the lines, its errors last.
    std::string type(const std::string& lines, int status = 0) {
        const auto file = unit.path() / "script";
        std::ofstream(file) << lines;
        Process shell({"/bin/sh", "-c", "exec " DCH " -i < '" + file.string() + "'"});
        EXPECT_EQ(shell.awaitExit(), status);
        return shell.output() + shell.error();
    }

    static std::string completions(std::vector<std::string> words, const char* program = DCH) {
        words.insert(words.begin(), {program, "--complete"});
        Process shell(std::move(words));
        EXPECT_EQ(shell.awaitExit(), 0);
        return shell.output() + shell.error();
    }

    std::map<std::string, std::string> environment() const {
        return {{"HOME", unit.path().string()}, {"XDG_STATE_HOME", ""}};
    }

    CollectorUnit unit;
};

// --- Sessions ----------------------------------------------------------------------------------

TEST_F(ShellTest, ScriptMakesAFilterWhoseNumbersItDoesNotKnow) {
    EXPECT_EQ(type("# A filter for the load.\n"
                   "fs create limit 65536\n"
                   "fs add $transaction tags CPU max count 10 100\n"
                   "fs commit $transaction\n"
                   "filter disable $filter\n"
                   "filter enable $filter\n"
                   "dch filter status"),
              std::string("Created transaction: 0\nFilter ID is: 11\n") + statusOf11);
}

TEST_F(ShellTest, ScriptStopsBeforeItAddsToAnotherTransaction) {
    EXPECT_EQ(type("fs create limit 0\nfs create limit x\nfs add $transaction list count 1\n", 2),
              "Created transaction: 0\nFailed to execute command\n"
              "dch: line 2: 'fs create limit x' failed with status 2\n");
}

TEST_F(ShellTest, ScriptStopsAtAStatementThatCannotBeParsed) {
    EXPECT_EQ(type("fs create limit 0\nfs add $transaction nonsense\nfs commit $transaction\n", 2),
              "Created transaction: 0\nFailed to execute command\n"
              "dch: line 2: 'fs add $transaction nonsense' failed with status 2\n");
}

TEST_F(ShellTest, DisabledCommandSaysSoFromWhicheverProgram) {
    const std::string disabled =
        "Since radio observability data collection is disabled, the functionality for this "
        "command is disabled.\n";
    EXPECT_EQ(type("rodc list\n", 1), disabled + "dch: line 1: 'rodc list' failed with status 1\n");
}

TEST_F(ShellTest, TerminalCompletesFiltersAndTransactions) {
    type("fs create limit 0\nfs add 0 tags CPU list count 1\nfs commit 0\nfs create limit 0\n");
    Terminal terminal({DCH, "-i"}, environment());
    terminal.await("dch> ");
    terminal.type("fs add \ttags NET list count 1\r");
    terminal.await("dch> ");
    terminal.type("fs com\t\t\r");
    terminal.await("fs commit 1 \r\n");
    terminal.await("Filter ID is: 12\r\n");
    terminal.type("fil\tdis\t12\r");
    terminal.await("dch> ");
    terminal.type("filter st\t\r");
    terminal.await("Filter 12 (12): Enabled: No, FilterTag(s): NET\r\n");
}

TEST_F(ShellTest, TerminalMeetsTheCollectorThatIsThere) {
    type("fs create limit 0\nfs add 0 tags CPU list count 1\nfs commit 0\n");
    Terminal terminal({DCH, "-i"}, environment());
    terminal.await("dch> ");
    terminal.type("filter status\r");
    terminal.await("Filter 11 (11)");
    terminal.await("dch> ");
    unit.kill();
    terminal.type("filter status\r");
    terminal.await("dch: no collector answers at ");
    terminal.await("dch> ");
    unit.start();
    terminal.type("filter status\r");
    terminal.await("No filters found\r\n");
    terminal.await("dch> ");
    terminal.type("fs commit \t9\r");
    terminal.await("Trying to commit transaction 9 which does not exist\r\n");
}

// --- Completion --------------------------------------------------------------------------------

TEST_F(ShellTest, CompletionKnowsEverySubcommand) {
    EXPECT_EQ(completions({""}), "filter\nfs\n");
    EXPECT_EQ(completions({"filter", ""}),
              "clearAll\ndelete\ndeleteAll\ndisable\nenable\npull\nstatus\n");
    EXPECT_EQ(completions({"filter", "pull", ""}), "clear\nkeep\n");
    EXPECT_EQ(completions({"fs", ""}), "add\ncommit\ncreate\n");
    EXPECT_EQ(completions({"fs", "create", ""}), "limit\n");
    EXPECT_EQ(completions({"fs", "create", "limit", ""}), "");
    EXPECT_EQ(completions({""}, RODC), "list\nprint\nshow\n");
}

TEST_F(ShellTest, CompletionFollowsFiltersAndTransactions) {
    EXPECT_EQ(completions({"fs", "commit", ""}), "");
    type("fs create limit 0\nfs create limit 0\nfs create limit 0\n");
    EXPECT_EQ(completions({"fs", "add", ""}), "0\n1\n2\n");
    EXPECT_EQ(completions({"filter", "enable", ""}), "");
    type("fs add 1 list count 1\nfs commit 1\n");
    EXPECT_EQ(completions({"fs", "commit", ""}), "0\n2\n");
    EXPECT_EQ(completions({"filter", "pull", "keep", ""}), "11\n");
    type("filter delete 11\n");
    EXPECT_EQ(completions({"filter", "pull", "keep", ""}), "");
}

TEST_F(ShellTest, CompletionOffersNothingForADisabledCommandsParameters) {
    EXPECT_EQ(completions({"print", ""}, RODC), "");
}

// What Bash offers for the words, by the completion as it is installed.
std::string bashCompletions(const std::string& words) {
    Process bash({"/bin/bash", "--norc", "-c",
                  "source " COMPLETION "; COMP_WORDS=(" + words +
                      "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1));"
                      " _dch \"${COMP_WORDS[0]}\" \"${COMP_WORDS[-1]}\" '';"
                      " [ ${#COMPREPLY[@]} -eq 0 ] || printf '%s\\n' \"${COMPREPLY[@]}\""});
    EXPECT_EQ(bash.awaitExit(), 0);
    return bash.output() + bash.error();
}

TEST_F(ShellTest, BashIsOfferedWhatTheProgramOffers) {
    type("fs create limit 0\n");
    EXPECT_EQ(bashCompletions(DCH " ''"), "filter\nfs\n");
    EXPECT_EQ(bashCompletions(DCH " filter d"), "delete\ndeleteAll\ndisable\n");
    EXPECT_EQ(bashCompletions(DCH " fs commit ''"), "0\n");
    EXPECT_EQ(bashCompletions(RODC " pr"), "print\n");
    EXPECT_EQ(bashCompletions(DCH " nonsense ''"), "");
    EXPECT_EQ(bashCompletions(DCH " --inter"), "--interactive\n");
}

TEST_F(ShellTest, BashIsOfferedNothingInSilenceWithoutACollector) {
    unit.kill();
    EXPECT_EQ(bashCompletions(DCH " ''"), "");
    EXPECT_EQ(bashCompletions("/nonexistent/dch ''"), "");
}

TEST_F(ShellTest, BashCompletesOnTab) {
    type("fs create limit 0\nfs add 0 tags CPU list count 1\nfs commit 0\n");
    Terminal bash({"/bin/bash", "--norc", "-i"}, environment());
    const auto directory = std::filesystem::path(DCH).parent_path().string();
    bash.type("PATH=" + directory + ":$PATH; PS1='$ '; source " COMPLETION "; echo re''ady\r");
    bash.await("\rready");
    bash.await("$ ");
    bash.type("dch fil\tst\t\r");
    bash.await("dch filter status \r\n");
    bash.await("Filter 11 (11): Enabled: Yes");
    bash.await("$ ");
    bash.type("UNIT_ROOT=$UNIT_ROOT dch filter disable \t\r");
    bash.await("disable 11 \r\n");
    bash.await("$ ");
    bash.type("dch filter status\r");
    bash.await("Filter 11 (11): Enabled: No");
}

}  // namespace
