// Sessions at a terminal, typed key by key, against a daemon that is one.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>

#include "support/daemon.hpp"
#include "support/terminal.hpp"
#include "tessel/commandProtocol.hpp"

namespace {

using namespace TestSupport;
using Tessel::CommandProtocol::socketPath;
using testing::HasSubstr;
using testing::Not;

constexpr const char* prompt = "dch> ";
constexpr const char* up = "\x1B[A";
constexpr char ctrlC = '\x03';
constexpr char ctrlD = '\x04';
constexpr char ctrlR = '\x12';
constexpr char ctrlU = '\x15';
constexpr char ctrlV = '\x16';
constexpr char ctrlZ = '\x1A';

class ConversationTest : public testing::Test {
protected:
    // The user's folders lie in the unit.
    std::map<std::string, std::string> environment() const {
        return {{"HOME", unit.path().string()}, {"XDG_STATE_HOME", ""}};
    }

    void start(const std::vector<std::string>& words = {DCH, "-i"}) {
        terminal = std::make_unique<Terminal>(words, environment());
    }

    // Types a line at the prompt.
    void type(const std::string& keys) {
        terminal->await(prompt);
        terminal->type(keys);
    }

    // Types a line and gives what shows before the next prompt, without the line.
    std::string answer(const std::string& line) {
        type(line + '\r');
        terminal->await("\r\n");
        auto text = terminal->await(prompt);
        terminal->type(std::string(1, ctrlU));
        terminal->type("\r");
        return text;
    }

    int leave() {
        type({ctrlD});
        return terminal->awaitExit();
    }

    const UnitRoot unit;
    const std::filesystem::path history = unit.path() / ".local/state/qdx/history";
    std::unique_ptr<Terminal> terminal;
};

TEST_F(ConversationTest, TypesLinesWithOrWithoutTheCommandWord) {
    const Daemon daemon;
    start();
    EXPECT_THAT(answer("echo  a b"), HasSubstr("dch|echo|a|b|\r\n"));
    EXPECT_THAT(answer("dch echo c"), HasSubstr("dch|echo|c|\r\n"));
    EXPECT_EQ(leave(), 0);
}

TEST_F(ConversationTest, PromptsWithTheNameThatTheProgramIsCalledBy) {
    const Daemon daemon;
    start({RODC, "--interactive"});
    terminal->await("rodc> ");
    terminal->type("list\r");
    terminal->await("rodc: no such command\r\n");
    terminal->await("rodc> ");
    terminal->type("dch echo a\r");
    terminal->await("dch|echo|a|\r\n");
}

TEST_F(ConversationTest, EndsAtExitQuitAndTheEndOfInput) {
    for (const auto* line : {"exit\r", " quit \r", "\x04"}) {
        start();
        type(line);
        EXPECT_EQ(terminal->awaitExit(), 0) << line;
    }
}

TEST_F(ConversationTest, SkipsCommentsAndEmptyLines) {
    const Daemon daemon;
    start();
    type("\r");
    type("  # exit\r");
    EXPECT_THAT(answer("echo a"), HasSubstr("dch|echo|a|"));
}

TEST_F(ConversationTest, LeavesTheTerminalAsItWas) {
    const Daemon daemon;
    const HoldingPipe pipe(unit);
    start();
    type("hold " + pipe.path + "\r");
    terminal->await("holding");
    EXPECT_TRUE(terminal->takesWholeLines());
    pipe.let("released");
    terminal->await(prompt);
    EXPECT_FALSE(terminal->takesWholeLines());
    terminal->signal(SIGTERM);
    EXPECT_EQ(terminal->awaitExit(), 128 + SIGTERM);
    EXPECT_TRUE(terminal->takesWholeLines());
}

TEST_F(ConversationTest, PromptsOnStandardErrorIfTheOutputGoesToAFile) {
    const Daemon daemon;
    const auto file = unit.path() / "output";
    start({"/bin/sh", "-c", "exec " DCH " -i > '" + file.string() + "'"});
    type("echo a\r");
    EXPECT_EQ(leave(), 0);
    std::ostringstream output;
    output << std::ifstream(file).rdbuf();
    EXPECT_EQ(output.str(), "dch|echo|a|\n");
}

// --- Completion and help -----------------------------------------------------------------------

TEST_F(ConversationTest, TabCompletesSubcommandsAndValues) {
    const Daemon daemon;
    start();
    type("pi\t");
    terminal->await("pick ");
    terminal->type("on\tch\t\r");
    terminal->await("dch|pick|one|cherry|\r\n");
    type("dch pi\tot\tapple:r\t\r");
    terminal->await("dch|pick|other|apple:red|\r\n");
}

TEST_F(ConversationTest, TabCompletesAsFarAsThereIsNoDoubtAndThenShowsWhatFits) {
    const Daemon daemon;
    start();
    type("pick one a\t");
    terminal->await("pple:");
    terminal->type("\t\t");
    terminal->await("apple:green");
    terminal->await("apple:red");
}

TEST_F(ConversationTest, TabAtTheBeginningShowsAllThatMayComeFirst) {
    const Daemon daemon;
    start();
    type("\t\t");
    terminal->await("\r\n");
    const auto shown = terminal->await(prompt);
    for (const auto* word : {"bytes", "dch", "echo", "exit", "help", "hold", "pick", "quit"}) {
        EXPECT_THAT(shown, HasSubstr(word));
    }
}

TEST_F(ConversationTest, TabOffersNoFilesWhereNothingFits) {
    const Daemon daemon;
    std::ofstream(unit.path() / "aFile") << "x";
    start({"/bin/sh", "-c", "cd '" + unit.path().string() + "' && exec " DCH " -i"});
    type("echo aF\t\r");
    terminal->await("dch|echo|aF|\r\n");
}

TEST_F(ConversationTest, TabCompletesTheWordsThatStandForNumbers) {
    const Daemon daemon;
    start();
    type("echo $f\t");
    terminal->await("echo $filter ");
}

TEST_F(ConversationTest, QuestionMarkExplainsAtOnceAndLeavesTheLine) {
    const Daemon daemon;
    start();
    type("exit ?");
    EXPECT_THAT(terminal->await("Exits with the status.\r\n"), HasSubstr("dch exit <status>"));
    terminal->await("dch> exit ");
    terminal->type(
        "\x01"
        "echo \r");
    terminal->await("dch|echo|exit|\r\n");
    type("?");
    terminal->await("  dch echo <word>\r\n");
    terminal->await("  dch pick { one | other } <fruit>\r\n");
}

TEST_F(ConversationTest, QuestionMarkInAWordIsACharacter) {
    const Daemon daemon;
    start();
    EXPECT_THAT(answer("echo a?"), HasSubstr("dch|echo|a?|"));
}

TEST_F(ConversationTest, QuestionMarkThatIsALastWordExplainsWhenEntered) {
    const Daemon daemon;
    start();
    EXPECT_THAT(answer(std::string("exit ") + ctrlV + "?"), HasSubstr("Exits with the status."));
}

TEST_F(ConversationTest, QuestionMarkSaysThatNothingFits) {
    const Daemon daemon;
    start();
    type("nonsense ?");
    terminal->await("dch: no subcommand begins like this\r\n");
}

TEST_F(ConversationTest, HelpShowsWhatCanBeTyped) {
    const Daemon daemon;
    start();
    const auto help = answer("help");
    EXPECT_THAT(help, HasSubstr("Tab completes"));
    EXPECT_THAT(help, HasSubstr("  dch echo <word>\r\n      Says the words back.\r\n"));
}

// --- Interruptions -----------------------------------------------------------------------------

TEST_F(ConversationTest, CtrlCDropsTheLine) {
    const Daemon daemon;
    start();
    type(std::string("echo dropped") + ctrlC);
    EXPECT_THAT(answer("echo a"), HasSubstr("dch|echo|a|"));
    EXPECT_THAT(terminal->shown(), Not(HasSubstr("|dropped|")));
}

TEST_F(ConversationTest, CtrlCDropsASearch) {
    const Daemon daemon;
    start();
    answer("echo a");
    type(std::string(1, ctrlR) + "ech");
    terminal->await("reverse-i-search");
    terminal->type({ctrlC});
    terminal->await("^C");
    terminal->await("\n");
    EXPECT_THAT(answer("echo b"), HasSubstr("dch|echo|b|"));
}

TEST_F(ConversationTest, CtrlCGivesUpACommandAndLeavesTheCollectorAtWork) {
    const Daemon daemon;
    const HoldingPipe pipe(unit);
    start();
    type("hold " + pipe.path + "\r");
    terminal->await("holding");
    terminal->type({ctrlC});
    terminal->await(prompt);
    pipe.let("released");
    terminal->type("echo a\r");
    terminal->await("dch|echo|a|\r\n");
}

TEST_F(ConversationTest, CtrlCGivesUpThePastedLinesBehindTheCommandToo) {
    const Daemon daemon;
    const HoldingPipe pipe(unit);
    start();
    type("\x1B[200~hold " + pipe.path + "\necho behind\x1B[201~\r");
    terminal->await("holding");
    terminal->type({ctrlC});
    terminal->await(prompt);
    pipe.let("released");
    terminal->type("echo a\r");
    terminal->await("dch|echo|a|\r\n");
    EXPECT_THAT(terminal->shown(), Not(HasSubstr("|behind|")));
}

TEST_F(ConversationTest, CtrlZStopsTheProgramAndTheLineIsShownAgainWhenItGoesOn) {
    const Daemon daemon;
    terminal = std::make_unique<Terminal>(std::vector<std::string>{"/bin/bash", "--norc", "-i"},
                                          environment());
    terminal->type(DCH " -i\r");
    type("echo ab");
    terminal->await("ab");
    terminal->type({ctrlZ});
    terminal->await("Stopped");
    terminal->type("fg\r");
    terminal->await("dch> echo ab");
    terminal->type("c\r");
    terminal->await("dch|echo|abc|\r\n");
    type(std::string("echo dropped") + ctrlC);
    EXPECT_THAT(answer("echo d"), HasSubstr("dch|echo|d|"));
}

TEST_F(ConversationTest, TypesPastedLinesOneAfterAnother) {
    const Daemon daemon;
    start();
    type("\x1B[200~echo a\n# comment\n\necho b\x1B[201~\r");
    terminal->await("dch|echo|a|\r\ndch|echo|b|\r\n");
}

// --- A collector that comes and goes -----------------------------------------------------------

TEST_F(ConversationTest, CollectorThatIsGoneIsSaidInOneLineAndANewOneAnswers) {
    auto daemon = std::make_unique<Daemon>();
    start();
    EXPECT_THAT(answer("echo a"), HasSubstr("dch|echo|a|"));
    daemon->signal(SIGKILL);
    daemon->awaitExit();
    EXPECT_THAT(answer("echo b"), HasSubstr("dch: no collector answers at " + socketPath() +
                                            ": Connection refused; start qdxd, "));
    EXPECT_THAT(answer("dch echo c"), HasSubstr("dch: no collector answers at "));
    daemon = std::make_unique<Daemon>();
    EXPECT_THAT(answer("echo d"), HasSubstr("dch|echo|d|"));
    EXPECT_EQ(leave(), 0);
}

TEST_F(ConversationTest, CollectorThatGoesInTheMiddleIsSaidInOneLine) {
    auto daemon = std::make_unique<Daemon>();
    const HoldingPipe pipe(unit);
    start();
    type("hold " + pipe.path + "\r");
    terminal->await("holding");
    daemon->signal(SIGKILL);
    daemon->awaitExit();
    terminal->await("dch: the answer ended before its time: ");
    daemon = std::make_unique<Daemon>();
    EXPECT_THAT(answer("echo a"), HasSubstr("dch|echo|a|"));
}

TEST_F(ConversationTest, TabAndQuestionMarkDoWithoutACollector) {
    start();
    type("pick \t");
    terminal->type("?");
    terminal->await("dch: no collector answers at " + socketPath());
    terminal->await("dch> pick ");
    const Daemon daemon;
    terminal->type("on\tch\t\r");
    terminal->await("dch|pick|one|cherry|\r\n");
}

// --- History -----------------------------------------------------------------------------------

TEST_F(ConversationTest, RemembersTheLinesOfEarlierSessions) {
    const Daemon daemon;
    start();
    answer("echo first");
    answer("echo second");
    EXPECT_EQ(leave(), 0);
    start();
    type(up + std::string(up) + "\r");
    terminal->await("dch|echo|first|\r\n");
    struct stat status {};
    ASSERT_EQ(stat(history.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(ConversationTest, RemembersTheLinesOfASessionThatWasKilled) {
    const Daemon daemon;
    start();
    answer("echo first");
    terminal->signal(SIGKILL);
    EXPECT_EQ(terminal->awaitExit(), 128 + SIGKILL);
    start();
    type(std::string(up) + "\r");
    terminal->await("dch|echo|first|\r\n");
}

TEST_F(ConversationTest, DoesWithoutAHistoryInSilence) {
    const Daemon daemon;
    std::filesystem::create_directories(history);
    start();
    EXPECT_THAT(answer("echo a"), HasSubstr("dch|echo|a|"));
    type(std::string(up) + "\r");
    terminal->await("dch|echo|a|\r\n");
    EXPECT_EQ(leave(), 0);
}

}  // namespace
