// Sessions whose lines come from a pipe or file, against a daemon that is one.
#include <gmock/gmock.h>

#include <fstream>

#include "support/daemon.hpp"
#include "tessel/commandProtocol.hpp"

namespace {

using namespace TestSupport;
using testing::HasSubstr;
using testing::StartsWith;

struct Answer {
    int status;
    std::string output;
    std::string error;
    friend bool operator==(const Answer&, const Answer&) = default;
};

void PrintTo(const Answer& answer, std::ostream* out) {
    *out << answer.status << " output \"" << answer.output << "\" error \"" << answer.error << '"';
}

class ScriptTest : public testing::Test {
protected:
    // Types the lines of a file.
    Answer run(const std::string& lines, const std::string& command = DCH " -i") {
        const auto file = unit.path() / "script";
        std::ofstream(file, std::ios::binary) << lines;
        Process shell({"/bin/sh", "-c", "exec " + command + " < '" + file.string() + "'"});
        const int status = shell.awaitExit();
        return {status, shell.output(), shell.error()};
    }

    const UnitRoot unit;
};

TEST_F(ScriptTest, TypesEachLineWithOrWithoutTheCommandWord) {
    const Daemon daemon;
    EXPECT_EQ(run("echo a\ndch echo  b\n"), (Answer{0, "dch|echo|a|\ndch|echo|b|\n", ""}));
}

TEST_F(ScriptTest, ShowsNoPrompt) {
    const Daemon daemon;
    EXPECT_EQ(run(""), (Answer{0, "", ""}));
}

TEST_F(ScriptTest, SkipsBlankLinesAndComments) {
    const Daemon daemon;
    EXPECT_EQ(run("# exit 3\n\n  \t\n  # exit 4\n#\necho # a #b\n"),
              (Answer{0, "dch|echo|#|a|#b|\n", ""}));
    EXPECT_EQ(run('#' + std::string(10000, 'x') + "\necho a"), (Answer{0, "dch|echo|a|\n", ""}));
}

TEST_F(ScriptTest, TakesFilesOfOtherSystemsAndALastLineWithoutItsEnd) {
    const Daemon daemon;
    EXPECT_EQ(run("echo a\r\n\r\necho b\r\necho c"),
              (Answer{0, "dch|echo|a|\ndch|echo|b|\ndch|echo|c|\n", ""}));
}

TEST_F(ScriptTest, StopsAtTheFirstLineThatFails) {
    const Daemon daemon;
    EXPECT_EQ(run("echo a\n\n# comment\nexit 2\necho b\n"),
              (Answer{2, "dch|echo|a|\n", "dch: line 4: 'exit 2' failed with status 2\n"}));
}

TEST_F(ScriptTest, KeepsGoingWhenAskedAndExitsWithTheFirstStatus) {
    const Daemon daemon;
    EXPECT_EQ(run("exit 2\necho a\nexit 7\nexit 0\n", DCH " -i --keep-going"),
              (Answer{2, "dch|echo|a|\n",
                      "dch: line 1: 'exit 2' failed with status 2\n"
                      "dch: line 3: 'exit 7' failed with status 7\n"}));
}

TEST_F(ScriptTest, ShowsWhatTheCollectorSaysOfAFailure) {
    const Daemon daemon;
    EXPECT_EQ(run("\techo\tx\ncrash\n", RODC " -i"),
              (Answer{127, "",
                      "rodc: no such command\n"
                      "rodc: line 1: 'echo\?x' failed with status 127\n"}));
}

TEST_F(ScriptTest, CutsALongLineAndWhatATerminalMightObeyInItsMessage) {
    const Daemon daemon;
    const auto answer = run("exit 2 \x1B[2J\x07 " + std::string(100, 'x') + " \n");
    EXPECT_EQ(answer.error,
              "dch: line 1: 'exit 2 ?[2J? " + std::string(47, 'x') + "...' failed with status 2\n");
}

TEST_F(ScriptTest, LeavesWhereItIsTold) {
    const Daemon daemon;
    EXPECT_EQ(run("echo a\nexit\necho b\n"), (Answer{0, "dch|echo|a|\n", ""}));
    EXPECT_EQ(run("exit 2\n quit \necho b\n", DCH " -i -k"),
              (Answer{2, "", "dch: line 1: 'exit 2' failed with status 2\n"}));
}

TEST_F(ScriptTest, ExplainsWhereItIsAsked) {
    const Daemon daemon;
    EXPECT_EQ(run("echo ?\n"), (Answer{0, "  dch echo <word>\n      Says the words back.\n", ""}));
    EXPECT_THAT(run("help\n").output, HasSubstr("  dch exit <status>\n"));
    EXPECT_EQ(run("echo a?\n").output, "dch|echo|a?|\n");
}

TEST_F(ScriptTest, RefusesALineThatIsTooLong) {
    const Daemon daemon;
    const auto longest = "dch echo " + std::string(4096 - 9, 'x');
    EXPECT_EQ(run(longest + "\r\n").status, 0);
    const auto answer = run("\n" + longest + "x\n");
    EXPECT_EQ(answer.status, 65);
    EXPECT_EQ(answer.error, "dch: line 2: 'dch echo " + std::string(51, 'x') +
                                "...' failed: it is longer than 4096 characters\n");
}

TEST_F(ScriptTest, RefusesALineWithANul) {
    const Daemon daemon;
    EXPECT_EQ(run(std::string("echo a\0b\n", 9)),
              (Answer{65, "", "dch: line 1: 'echo a?b' failed: it has a NUL byte\n"}));
}

TEST_F(ScriptTest, RefusesANumberThatThereIsNot) {
    const Daemon daemon;
    EXPECT_EQ(run("fs add $transaction x\n"),
              (Answer{65, "",
                      "dch: line 1: 'fs add $transaction x' failed: there is no $transaction yet; "
                      "a 'dch fs create' that succeeds gives it\n"}));
}

TEST_F(ScriptTest, SaysInOneLineThatThereIsNoCollector) {
    EXPECT_EQ(
        run("# nobody there\nfilter status\n"),
        (Answer{69, "",
                "dch: line 2: 'filter status' failed: no collector answers at " +
                    Tessel::CommandProtocol::socketPath() +
                    ": No such file or directory; start qdxd, or set UNIT_ROOT to the root of its "
                    "unit\n"}));
}

TEST_F(ScriptTest, SaysInOneLineThatTheCollectorWentInTheMiddle) {
    Daemon daemon;
    const HoldingPipe pipe(unit);
    Process shell({"/bin/sh", "-c", "echo dch hold '" + pipe.path + "' | " DCH " -i"});
    shell.awaitOutput("holding\n");
    daemon.signal(SIGKILL);
    EXPECT_EQ(shell.awaitExit(), 70);
    EXPECT_THAT(shell.error(), StartsWith("dch: line 1: 'dch hold "));
    EXPECT_THAT(shell.error(), HasSubstr("' failed: the answer ended before its time: "));
    EXPECT_EQ(std::count(shell.error().begin(), shell.error().end(), '\n'), 1);
}

TEST_F(ScriptTest, TypesALineAsSoonAsItComes) {
    const Daemon daemon;
    const HoldingPipe pipe(unit);
    Process shell({"/bin/sh", "-c",
                   "(echo echo a; read line < '" + pipe.path + "'; echo $line) | " DCH " -i"});
    shell.awaitOutput("dch|echo|a|\n");
    pipe.let("echo b");
    EXPECT_EQ(shell.awaitExit(), 0);
    EXPECT_EQ(shell.output(), "dch|echo|a|\ndch|echo|b|\n");
}

TEST_F(ScriptTest, SaysThatItsInputCannotBeRead) {
    Process shell({"/bin/sh", "-c", DCH " -i < /"});
    EXPECT_EQ(shell.awaitExit(), 74);
    EXPECT_EQ(shell.error(), "dch: cannot read the commands: Is a directory\n");
}

}  // namespace
