#include "commandLine/terminal.hpp"

#include <gmock/gmock.h>
#include <pty.h>
#include <unistd.h>

#include <cstdlib>

namespace {

using Qdx::CommandLine::takesEscapes;

class TerminalTest : public testing::Test {
protected:
    TerminalTest() {
        EXPECT_EQ(openpty(&keyboard, &screen, nullptr, nullptr, nullptr), 0);
        setenv("TERM", "xterm", 1);
        unsetenv("NO_COLOR");
    }
    void TearDown() override {
        close(screen);
        close(keyboard);
    }

    int keyboard = -1;
    int screen = -1;
};

TEST_F(TerminalTest, ATerminalTakesEscapes) {
    EXPECT_TRUE(takesEscapes(screen));
}

TEST_F(TerminalTest, APipeTakesNone) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_FALSE(takesEscapes(ends[1]));
    close(ends[0]);
    close(ends[1]);
}

TEST_F(TerminalTest, ADumbTerminalTakesNone) {
    setenv("TERM", "dumb", 1);
    EXPECT_FALSE(takesEscapes(screen));
}

TEST_F(TerminalTest, AnUnknownTerminalTakesNone) {
    unsetenv("TERM");
    EXPECT_FALSE(takesEscapes(screen));
}

TEST_F(TerminalTest, AUserWhoWantsPlainTextIsGivenPlainText) {
    setenv("NO_COLOR", "1", 1);
    EXPECT_FALSE(takesEscapes(screen));
}

TEST_F(TerminalTest, AnEmptyWishIsNone) {
    setenv("NO_COLOR", "", 1);
    EXPECT_TRUE(takesEscapes(screen));
}

}  // namespace
