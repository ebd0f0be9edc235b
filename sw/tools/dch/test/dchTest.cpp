// The client as a process, against a daemon that is one.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

#include "support/daemon.hpp"
#include "tessel/commandProtocol.hpp"

namespace {

using namespace TestSupport;
using Tessel::CommandProtocol::socketPath;
using testing::HasSubstr;
using testing::StartsWith;

const std::string remedy = "; start qdxd, or set UNIT_ROOT to the root of its unit\n";

class DchTest : public testing::Test {
protected:
    const UnitRoot unit;
};

TEST_F(DchTest, PrintsWhatTheCommandSays) {
    const Daemon daemon;
    Process dch({DCH, "echo", "a b", ""});
    EXPECT_EQ(dch.awaitExit(), 0);
    EXPECT_EQ(dch.output(), "dch|echo|a b||\n");
    EXPECT_EQ(dch.error(), "");
}

TEST_F(DchTest, ExitsWithTheStatusOfTheCommand) {
    const Daemon daemon;
    EXPECT_EQ(Process({DCH, "exit", "2"}).awaitExit(), 2);
    EXPECT_EQ(Process({DCH, "exit", "255"}).awaitExit(), 255);
}

TEST_F(DchTest, ExitsWithTheHighestStatusForOneThatAShellCannotSee) {
    const Daemon daemon;
    EXPECT_EQ(Process({DCH, "exit", "256"}).awaitExit(), 255);
    EXPECT_EQ(Process({DCH, "exit", "-1"}).awaitExit(), 255);
}

TEST_F(DchTest, TypesTheNameThatItIsCalledBy) {
    const Daemon daemon;
    Process rodc({RODC, "list"});
    EXPECT_EQ(rodc.awaitExit(), 127);
    EXPECT_EQ(rodc.error(), "rodc: no such command\n");
}

TEST_F(DchTest, PrintsOutputWhileTheCommandRuns) {
    const Daemon daemon;
    const HoldingPipe pipe(unit);
    Process dch({DCH, "hold", pipe.path});
    dch.awaitOutput("holding\n");
    pipe.let("released");
    EXPECT_EQ(dch.awaitExit(), 0);
    EXPECT_EQ(dch.output(), "holding\nreleased\n");
}

TEST_F(DchTest, PrintsFiftyMegabytesWhole) {
    const Daemon daemon;
    Process dch({DCH, "bytes", "50000000"});
    EXPECT_EQ(dch.awaitExit(), 0);
    EXPECT_EQ(dch.output().size(), 50000000U);
    EXPECT_EQ(dch.output().find_first_not_of('x'), std::string::npos);
}

TEST_F(DchTest, SaysWhereItLookedForACollector) {
    Process dch({DCH, "filter", "status"});
    EXPECT_EQ(dch.awaitExit(), 69);
    EXPECT_EQ(dch.error(), "dch: no collector answers at " + socketPath() +
                               ": No such file or directory" + remedy);
    EXPECT_EQ(dch.output(), "");
}

TEST_F(DchTest, PrintsTheTableOfItsSubcommands) {
    const Daemon daemon;
    Process bare({DCH});
    EXPECT_EQ(bare.awaitExit(), 0);
    EXPECT_THAT(bare.output(), StartsWith("usage: dch SUBCOMMAND"));
    EXPECT_THAT(bare.output(), HasSubstr("  dch echo <word>\n  dch exit <status>\n"));
    Process help({DCH, "--help"});
    EXPECT_EQ(help.awaitExit(), 0);
    EXPECT_EQ(help.output(), bare.output());
}

TEST_F(DchTest, CutsLongHelpBetweenWordsAtTheWidthOfATerminal) {
    const Daemon daemon;
    Process help({"/bin/sh", "-c", "echo help | " DCH " -i"});
    EXPECT_EQ(help.awaitExit(), 0);
    EXPECT_THAT(help.output(), HasSubstr("  dch hold <pipe>\n"
                                         "      Waits, with all the patience that a command can "
                                         "have, until the pipe is\n"
                                         "      written to.\n"));
}

TEST_F(DchTest, TellsItsUsageWithoutACollectorToo) {
    for (const auto& words : {std::vector<std::string>{DCH, "--help"}, {DCH}}) {
        Process help(words);
        EXPECT_EQ(help.awaitExit(), 0);
        EXPECT_THAT(help.output(), StartsWith("usage: dch SUBCOMMAND"));
        EXPECT_EQ(help.error(),
                  "dch: the subcommands are the collector's to tell: no collector answers at " +
                      socketPath() + ": No such file or directory" + remedy);
    }
}

TEST_F(DchTest, TellsItsUsageToAWordThatTheCollectorDoesNotKnow) {
    const Daemon daemon;
    Process help({RODC, "--help"});
    EXPECT_EQ(help.awaitExit(), 0);
    EXPECT_THAT(help.output(), StartsWith("usage: rodc SUBCOMMAND"));
    EXPECT_EQ(help.error(),
              "rodc: the subcommands are the collector's to tell: no table of subcommands for "
              "this word\n");
}

TEST_F(DchTest, TellsOfAUsageThatNobodyCouldTake) {
    Process help({"/bin/sh", "-c", DCH " --help >/dev/full"});
    EXPECT_EQ(help.awaitExit(), 74);
    EXPECT_THAT(help.error(), StartsWith("dch: cannot write the output"));
}

TEST_F(DchTest, TellsItsVersionWithoutACollector) {
    Process version({DCH, "--version"});
    EXPECT_EQ(version.awaitExit(), 0);
    EXPECT_THAT(version.output(), StartsWith("dch "));
}

TEST_F(DchTest, GivesWordsThatLookLikeOptionsToTheCommand) {
    const Daemon daemon;
    Process dch({DCH, "echo", "--help"});
    EXPECT_EQ(dch.awaitExit(), 0);
    EXPECT_EQ(dch.output(), "dch|echo|--help|\n");
}

TEST_F(DchTest, RefusesALineThatIsTooLong) {
    const Daemon daemon;
    Process dch({DCH, "echo", std::string(10000, 'x')});
    EXPECT_EQ(dch.awaitExit(), 64);
    EXPECT_EQ(dch.error(), "the command line is longer than 4096 characters\n");
}

TEST_F(DchTest, SaysThatTheCollectorWentInTheMiddle) {
    Daemon daemon;
    const HoldingPipe pipe(unit);
    Process dch({DCH, "hold", pipe.path});
    dch.awaitOutput("holding\n");
    daemon.signal(SIGKILL);
    EXPECT_EQ(dch.awaitExit(), 70);
    EXPECT_THAT(dch.error(), StartsWith("dch: the answer ended before its time: "));
    EXPECT_EQ(std::count(dch.error().begin(), dch.error().end(), '\n'), 1);
}

TEST_F(DchTest, EndsWhenNobodyReadsItsOutput) {
    const Daemon daemon;
    Process dch({DCH, "bytes", "50000000"});
    dch.closeOutput();
    EXPECT_EQ(dch.awaitExit(), 128 + SIGPIPE);
    EXPECT_EQ(Process({DCH, "exit", "0"}).awaitExit(), 0);
}

TEST_F(DchTest, EndsOnCtrlCAndLeavesTheCollectorAtWork) {
    const Daemon daemon;
    const HoldingPipe pipe(unit);
    Process dch({DCH, "hold", pipe.path});
    dch.awaitOutput("holding\n");
    dch.signal(SIGINT);
    EXPECT_EQ(dch.awaitExit(), 128 + SIGINT);
    pipe.let("released");
    EXPECT_EQ(Process({DCH, "exit", "3"}).awaitExit(), 3);
}

TEST_F(DchTest, RefusesASessionWithOtherWords) {
    Process dch({DCH, "-i", "script"});
    EXPECT_EQ(dch.awaitExit(), 64);
    EXPECT_EQ(dch.error(),
              "dch: 'script' does not go with a session; lines come from standard input\n");
}

// --- Completion --------------------------------------------------------------------------------

// What the program offers for the last word.
std::string completions(std::vector<std::string> words) {
    words.insert(words.begin(), {DCH, "--complete"});
    Process dch(std::move(words));
    EXPECT_EQ(dch.awaitExit(), 0);
    EXPECT_EQ(dch.error(), "");
    return dch.output();
}

TEST_F(DchTest, OffersWhatTheCollectorsTableHas) {
    const Daemon daemon;
    EXPECT_EQ(completions({"e"}), "echo\nexit\n");
    EXPECT_EQ(completions({}), completions({""}));
    EXPECT_EQ(completions({"pick", ""}), "one\nother\n");
    EXPECT_EQ(completions({"nonsense", ""}), "");
}

TEST_F(DchTest, OffersTheValuesThatTheCollectorTells) {
    const Daemon daemon;
    EXPECT_EQ(completions({"pick", "one", ""}), "apple:green\napple:red\ncherry\n");
    EXPECT_EQ(completions({"pick", "one", "apple:r"}), "apple:red\n");
    EXPECT_EQ(completions({"echo", ""}), "");
}

TEST_F(DchTest, OffersItsOptionsWithoutACollector) {
    EXPECT_EQ(completions({"-"}), "--help\n--interactive\n--keep-going\n--version\n");
}

TEST_F(DchTest, OffersNothingInSilenceWithoutACollector) {
    EXPECT_EQ(completions({""}), "");
    EXPECT_EQ(completions({"filter", ""}), "");
}

TEST_F(DchTest, OffersNothingWhenTheCollectorIsTooBusyToTell) {
    const Daemon daemon;
    const HoldingPipe pipe(unit);
    Process busy({DCH, "hold", pipe.path});
    busy.awaitOutput("holding\n");
    EXPECT_EQ(completions({"pick", "one", ""}), "");
    EXPECT_EQ(completions({"pick", ""}), "one\nother\n");
    pipe.let("released");
    EXPECT_EQ(busy.awaitExit(), 0);
}

}  // namespace
