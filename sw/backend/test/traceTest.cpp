#include "trace.hpp"

#include <gmock/gmock.h>

#include <thread>

#include "traceRecorder.hpp"

namespace Qdx::Backend {

namespace {

using Qdx::Test::TraceRecorder;
using testing::ElementsAre;
using testing::IsEmpty;
using Level = Trace::Level;

class TraceTest : public testing::Test {
protected:
    TraceTest() { trace.clear(); }

    TraceRecorder& trace = TraceRecorder::instance();
};

TEST_F(TraceTest, StatementCarriesItsTextFileAndLine) {
    const unsigned line = __LINE__ + 1;
    QDX_TRACE(Trace6, "Selected revision " << 3 << " of " << 7U);
    const auto lines = trace.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, Level::Trace6);
    EXPECT_EQ(lines[0].file, "traceTest.cpp");
    EXPECT_EQ(lines[0].line, line);
    EXPECT_EQ(lines[0].text, "Selected revision 3 of 7");
}

TEST_F(TraceTest, ValuesAreNotComputedWhenTheLevelIsOff) {
    trace.turnOff(Level::Trace5);
    int computed = 0;
    QDX_TRACE(Trace5, "value " << ++computed);
    EXPECT_EQ(computed, 0);
    trace.turnOn(Level::Trace5);
    QDX_TRACE(Trace5, "value " << ++computed);
    EXPECT_THAT(trace.texts(Level::Trace5), ElementsAre("value 1"));
}

TEST_F(TraceTest, LevelsAreIndependent) {
    trace.turnOff(Level::Info);
    QDX_TRACE(Info, "not this");
    QDX_TRACE(Error, "but this");
    EXPECT_THAT(trace.texts(Level::Info), IsEmpty());
    EXPECT_THAT(trace.texts(Level::Error), ElementsAre("but this"));
}

TEST_F(TraceTest, StatementIsOneStatementUnderAnIf) {
    const auto statement = [](bool condition) {
        if (condition)
            QDX_TRACE(Trace7, "yes");
        else
            QDX_TRACE(Trace7, "no");
    };
    statement(false);
    EXPECT_THAT(trace.texts(Level::Trace7), ElementsAre("no"));
}

TEST_F(TraceTest, ShortFileNameIsWhatFollowsTheLastSeparator) {
    EXPECT_EQ(Trace::shortFileName("sw/backend/src/quardex.cpp"), "quardex.cpp");
    EXPECT_EQ(Trace::shortFileName("quardex.cpp"), "quardex.cpp");
    EXPECT_EQ(Trace::shortFileName("sw/"), "");
    EXPECT_EQ(Trace::shortFileName(""), "");
}

TEST_F(TraceTest, RecorderSeesLinesOfOtherThreads) {
    std::thread other([] { QDX_TRACE(Info, "from another thread"); });
    EXPECT_TRUE(trace.waitFor(Level::Info, "from another thread"));
    other.join();
    EXPECT_EQ(trace.count(Level::Info, "from another thread"), 1U);
}

TEST_F(TraceTest, RecorderSaysWhenALineDoesNotCome) {
    EXPECT_FALSE(trace.waitFor(Level::Info, "never", std::chrono::seconds(0)));
}

}  // namespace

}  // namespace Qdx::Backend
