// The clocks that a played collector sees, and what reaches it.
#include <gmock/gmock.h>

#include <span>
#include <sstream>

#include "eventText.hpp"
#include "expectation.hpp"
#include "printer.hpp"
#include "recording/encoder.hpp"
#include "tessel/clock.hpp"
#include "wireFormat.hpp"

namespace {

using namespace Replay;
using namespace std::chrono_literals;
using std::chrono::nanoseconds;

// Reads the clocks whenever the collector is told of an event: at its time, before it reads them.
class ClockReader : public Printer {
public:
    explicit ClockReader(std::ostream& out) : Printer(out) {}

    void onEvent(std::size_t /*number*/, const Recording::Entry& /*entry*/) override {
        auto& clock = Tessel::Clock::V1::ClockIf::getInstance();
        for (int i = 0; i < readings; ++i) {
            steady.push_back(clock.steadyNow().time_since_epoch());
            wall.push_back(clock.wallNow().time_since_epoch());
        }
    }

    int readings = 2;
    std::vector<nanoseconds> steady;
    std::vector<nanoseconds> wall;
};

class PlayerTest : public testing::Test {
protected:
    PlayerTest() {
        header.steady = 10s;
        header.wall = 1000s;
        header.database = "[qdx]\nenabled = 1\n";
    }

    void play(const Recording::Encoder& encoder, PlayListenerIf& listener) {
        std::istringstream stream(encoder.bytes());
        Recording::Reader reader(stream);
        Player(reader, listener).play();
    }

    std::string outputOf(const Recording::Encoder& encoder) {
        std::ostringstream out;
        Printer printer(out);
        play(encoder, printer);
        return out.str();
    }

    Recording::Header header;
};

TEST_F(PlayerTest, AReadingGivesWhatWasRecordedOfItAndThenTheTimeOfTheEvent) {
    Recording::Encoder encoder(header);
    encoder.mailboxGone(15s, 1);
    encoder.steadyReading(15s + 3ns);
    encoder.wallReading(15s + 4ns, 2000s);
    encoder.mailboxGone(16s, 1);
    std::ostringstream out;
    ClockReader clocks(out);
    play(encoder, clocks);
    EXPECT_EQ(clocks.steady, (std::vector<nanoseconds>{15s + 3ns, 15s, 16s, 16s}));
    EXPECT_EQ(clocks.wall, (std::vector<nanoseconds>{2000s, 1005s, 1006s, 1006s}));
}

TEST_F(PlayerTest, ConnectionsAreNumberedAnewInEachReplay) {
    Recording::Encoder encoder(header);
    // Two references and the revision 1, packed.
    const std::string request("\0\0\0\7\0\0\0\0\x0A\1\1", 11);
    encoder.message(11s, 4, 0x01707B00, std::as_bytes(std::span(request)));
    encoder.mailboxGone(12s, 4);
    const auto first = outputOf(encoder);
    EXPECT_EQ(first, "1 to 4: ConnectionEstablishCfm 00000007000000010801\n");
    EXPECT_EQ(outputOf(encoder), first);
}

TEST_F(PlayerTest, ErrorsOfTheStartBelongToEventZero) {
    header.database = "[qdx]\nenabled = 1\nglobalMemoryLimit = 0\n";
    EXPECT_THAT(outputOf(Recording::Encoder(header)), testing::StartsWith("0 error: QDX global"));
}

TEST_F(PlayerTest, WhatTheCollectorNeverAskedForDoesNothing) {
    Recording::Encoder encoder(header);
    encoder.message(11s, 1, 4711, {});
    encoder.mailboxGone(11s, 9);
    encoder.command(11s, {"unknown", "word"});
    EXPECT_EQ(outputOf(encoder), "3 unknown word\n3 status 127\n");
}

TEST(EventTextTest, EveryKindOfEventIsALine) {
    const auto text = [](auto what) { return eventText({0s, what}); };
    EXPECT_EQ(text(Recording::Message{3, Qdx::V1::beConnectionReq, "12345678"}),
              "BeConnectionReq of 12 bytes from 3");
    EXPECT_EQ(text(Recording::Message{3, 0x1F, ""}), "0x0000001f of 4 bytes from 3");
    EXPECT_EQ(text(Recording::MailboxGone{2}), "2 is gone");
    EXPECT_EQ(text(Recording::Command{{"dch", "filter", "status"}}), "dch filter status");
    EXPECT_EQ(secondsText(1'002'000'003ns), "1.002000003");
    EXPECT_EQ(secondsText(-2ns), "-0.000000002");
}

TEST(ExpectationTest, TheFirstLineThatDiffersIsShown) {
    EXPECT_EQ(firstDifference("a\nb\n", "a\nb\n"), std::nullopt);
    EXPECT_EQ(firstDifference("a\nbc\nd\n", "a\nbx\nd\n"),
              "line 2 differs\n  expected: bc\n  came:     bx");
    EXPECT_EQ(firstDifference("a\n", "a\nb\n"),
              "line 2 differs\n  expected: (the end)\n  came:     b");
    EXPECT_EQ(firstDifference("a\nb\n", ""),
              "line 1 differs\n  expected: a\n  came:     (the end)");
}

}  // namespace
