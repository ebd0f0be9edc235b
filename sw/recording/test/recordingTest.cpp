// What is encoded is read back, and what is no recording is refused where that shows.
#include <gmock/gmock.h>

#include <sstream>

#include "recording/encoder.hpp"
#include "recording/reader.hpp"

namespace {

using namespace Recording;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

Header someHeader() {
    return {1024, 5s, 1'700'000'000s, "[qdx]\nenabled = 1\n", {{"list.xml", "<x/>"}, {"b", ""}}};
}

std::string headerBytes() {
    return Encoder(someHeader()).bytes();
}

std::string textOf(const Entry& entry) {
    struct {
        std::string operator()(const Message& message) const {
            return std::to_string(message.sender) + " sends " + std::to_string(message.number) +
                   " " + message.payload;
        }
        std::string operator()(const MailboxGone& gone) const {
            return std::to_string(gone.sender) + " is gone";
        }
        std::string operator()(const Command& command) const {
            std::string text = "command";
            for (const auto& word : command.words) {
                text += "," + word;
            }
            return text;
        }
        std::string operator()(const SteadyReading&) const { return "steady"; }
        std::string operator()(const WallReading& reading) const {
            return "wall " + std::to_string(reading.wall.count());
        }
    } text;
    return std::to_string(entry.steady.count()) + " " + std::visit(text, entry.what);
}

struct Content {
    std::vector<std::string> entries;
    bool cutOff;
};

Content contentOf(const std::string& bytes) {
    std::istringstream stream(bytes);
    Reader reader(stream);
    Content content{};
    while (const auto entry = reader.next()) {
        content.entries.push_back(textOf(*entry));
    }
    content.cutOff = reader.isCutOff();
    return content;
}

// Where and what the fault is; empty if there is none.
std::string faultOf(const std::string& bytes) {
    try {
        contentOf(bytes);
    } catch (const Fault& fault) {
        return fault.what();
    }
    return {};
}

std::string at(std::size_t offset, const std::string& what) {
    return "offset " + std::to_string(offset) + ": " + what;
}

// An encoder with one entry of every kind; times run both ways.
Encoder everyKind() {
    Encoder encoder(someHeader());
    const std::string payload("pay\0load", 8);
    encoder.message(6s, 1, 0x01707B15, std::as_bytes(std::span(payload)));
    encoder.steadyReading(6s + 7ns);
    encoder.mailboxGone(4s, 300);
    encoder.command(8s, {"dch", "", "x"});
    encoder.wallReading(9s, 1'700'000'003s);
    encoder.message(9s, 2, 7, {});
    return encoder;
}

TEST(RecordingTest, EveryEntryIsReadBack) {
    const auto content = contentOf(everyKind().bytes());
    EXPECT_THAT(
        content.entries,
        ElementsAre(std::string("6000000000 1 sends 24148757 pay\0load", 36), "6000000007 steady",
                    "4000000000 300 is gone", "8000000000 command,dch,,x",
                    "9000000000 wall 1700000003000000000", "9000000000 2 sends 7 "));
    EXPECT_FALSE(content.cutOff);
}

TEST(RecordingTest, TheHeaderIsReadBack) {
    std::istringstream stream(headerBytes());
    const Reader reader(stream);
    const auto& header = reader.header();
    EXPECT_EQ(header.maxMessageSize, 1024U);
    EXPECT_EQ(header.steady, 5s);
    EXPECT_EQ(header.wall, 1'700'000'000s);
    EXPECT_EQ(header.database, someHeader().database);
    ASSERT_EQ(header.listFiles.size(), 2U);
    EXPECT_EQ(header.listFiles[0].name, "list.xml");
    EXPECT_EQ(header.listFiles[0].text, "<x/>");
    EXPECT_EQ(reader.offset(), headerBytes().size());
}

TEST(RecordingTest, WhereverItIsCutTheEntriesBeforeAreRead) {
    const auto bytes = everyKind().bytes();
    const auto whole = contentOf(bytes).entries;
    for (auto size = headerBytes().size(); size <= bytes.size(); ++size) {
        SCOPED_TRACE(size);
        const auto cut = contentOf(bytes.substr(0, size));
        ASSERT_LE(cut.entries.size(), whole.size());
        EXPECT_TRUE(std::equal(cut.entries.begin(), cut.entries.end(), whole.begin()));
        // Each entry ends where the next begins, and only there nothing is missing.
        EXPECT_EQ(cut.cutOff,
                  size != headerBytes().size() && size != bytes.size() &&
                      contentOf(bytes.substr(0, size - 1)).entries.size() == cut.entries.size());
    }
}

TEST(RecordingTest, AHeaderThatIsCutIsAFault) {
    const auto header = headerBytes();
    for (std::size_t size = 0; size < header.size(); ++size) {
        EXPECT_EQ(faultOf(header.substr(0, size)),
                  at(size, "the recording ends inside its header"));
    }
}

TEST(RecordingTest, OtherFilesAreRefusedAtTheirFirstWrongByte) {
    EXPECT_EQ(faultOf("QDXREC2\n"), at(6, "no recording that this program can read"));
    EXPECT_EQ(faultOf("<xml/>"), at(0, "no recording that this program can read"));
}

TEST(RecordingTest, AnUnknownKindIsRefusedWhereItStands) {
    const auto bytes = everyKind().bytes();
    EXPECT_EQ(faultOf(bytes + std::string("X\0", 2)),
              at(bytes.size(), "no entry begins with byte 88"));
}

TEST(RecordingTest, LengthsBeyondTheLimitsAreRefusedBeforeMemoryIsTaken) {
    const auto header = headerBytes();
    const std::string huge = "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F";
    EXPECT_THAT(faultOf(header + std::string("C\0", 2) + huge), HasSubstr("4096 are the most"));
    EXPECT_THAT(faultOf(header + std::string("M\0\1\1", 4) + huge),
                HasSubstr("131072 are the most"));
    EXPECT_THAT(faultOf(header + std::string("G\0", 2) + huge), HasSubstr("more than 32 bits"));
    EXPECT_THAT(faultOf(header + "S" + std::string(10, '\xFF')), HasSubstr("more than 64 bits"));
}

TEST(RecordingTest, TimesThatNoClockShowsAreRefused) {
    // One nanosecond before the clock began: -5000000001, with the sign in the lowest bit.
    Encoder encoder(someHeader());
    encoder.steadyReading(-1ns);
    EXPECT_THAT(faultOf(encoder.bytes()), HasSubstr("a time that no clock shows"));
    Encoder late(someHeader());
    late.steadyReading(std::chrono::nanoseconds(maxSteady) + 1ns);
    EXPECT_THAT(faultOf(late.bytes()), HasSubstr("a time that no clock shows"));
    Encoder last(someHeader());
    last.steadyReading(std::chrono::nanoseconds(maxSteady));
    EXPECT_EQ(faultOf(last.bytes()), "");
}

}  // namespace
