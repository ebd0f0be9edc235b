#include "pull/pullReader.hpp"

#include <gtest/gtest.h>

#include <random>

#include "errorText.hpp"
#include "pull/badData.hpp"
#include "tessel/util.hpp"

namespace Qdx::Pull {
namespace {

std::string bytesOf(std::uint32_t id) {
    Qdx::InfoObjectCollections message;
    message.set_version(1);
    message.add_measurementcollections()->set_id(id);
    return message.SerializeAsString();
}

std::string encode(const std::string& bytes) {
    return Tessel::Util::Base64::encode({bytes.begin(), bytes.end()});
}

std::string pullOf(const std::string& bytes) {
    return "<QdxOutput>" + encode(bytes) + "</QdxOutput>\n";
}

std::string complaintAbout(const std::string& text) {
    return errorText<BadData>([&] { readPulls(text, "pull.txt"); });
}

TEST(PullReader, GivesTheMessageBetweenTheMarkers) {
    const auto pulls = readPulls(pullOf(bytesOf(7)), "pull.txt");
    ASSERT_EQ(pulls.size(), 1U);
    EXPECT_EQ(pulls[0].collections.measurementcollections(0).id(), 7U);
}

TEST(PullReader, IgnoresWhatStandsAround) {
    const auto pulls = readPulls("$ dch filter pull keep 11\n" + pullOf(bytesOf(7)) + "$ ", "");
    ASSERT_EQ(pulls.size(), 1U);
    EXPECT_EQ(pulls[0].collections.measurementcollections(0).id(), 7U);
}

TEST(PullReader, GivesEveryPullInOrder) {
    const auto pulls = readPulls(pullOf(bytesOf(7)) + pullOf(bytesOf(9)), "");
    ASSERT_EQ(pulls.size(), 2U);
    EXPECT_EQ(pulls[0].collections.measurementcollections(0).id(), 7U);
    EXPECT_EQ(pulls[1].collections.measurementcollections(0).id(), 9U);
}

TEST(PullReader, SkipsWhiteSpaceOfACopyFromATerminal) {
    auto text = pullOf(bytesOf(7));
    text.insert(15, "\r\n \t");
    const auto pulls = readPulls(text, "");
    ASSERT_EQ(pulls.size(), 1U);
    EXPECT_EQ(pulls[0].collections.measurementcollections(0).id(), 7U);
}

TEST(PullReader, TakesEveryLengthOfPadding) {
    for (const std::string name : {"a", "ab", "abc"}) {
        Qdx::InfoObjectCollections message;
        message.set_version(1);
        message.mutable_radiometadata()->set_hwname(name);
        const auto pulls = readPulls(pullOf(message.SerializeAsString()), "");
        ASSERT_EQ(pulls.size(), 1U);
        EXPECT_EQ(pulls[0].collections.radiometadata().hwname(), name);
    }
}

TEST(PullReader, RefusesAnEmptyInput) {
    EXPECT_EQ(complaintAbout(""), "pull.txt: empty; give it the output of a pull");
    EXPECT_EQ(complaintAbout("\n \n"), "pull.txt: empty; give it the output of a pull");
}

TEST(PullReader, QuotesWhatStandsThereInsteadOfAPull) {
    EXPECT_EQ(complaintAbout("No entry with this filterID\n"),
              "pull.txt: no <QdxOutput> in it, and no raw message; it starts with \"No entry with "
              "this filterID\"");
}

TEST(PullReader, QuotesWithoutControlCharacters) {
    EXPECT_EQ(complaintAbout("\x1b[2J\xFF"),
              "pull.txt: no <QdxOutput> in it, and no raw message; it starts with \"?[2J?\"");
}

TEST(PullReader, QuotesTheStartOfALongText) {
    EXPECT_EQ(complaintAbout(std::string(41, 'x')),
              "pull.txt: no <QdxOutput> in it, and no raw message; it starts with \"" +
                  std::string(40, 'x') + "...\"");
}

TEST(PullReader, RefusesAPullWithoutEnd) {
    EXPECT_EQ(complaintAbout("ab<QdxOutput>CAE="),
              "pull.txt: byte 2: <QdxOutput> without </QdxOutput>; the pull's text is cut off");
}

TEST(PullReader, RefusesASecondPullWithoutEnd) {
    const auto first = pullOf(bytesOf(7));
    EXPECT_EQ(complaintAbout(first + "<QdxOutput>CAE="),
              "pull.txt: byte " + std::to_string(first.size()) +
                  ": <QdxOutput> without </QdxOutput>; the pull's text is cut off");
}

TEST(PullReader, TellsWhereBase64Ends) {
    EXPECT_EQ(complaintAbout("<QdxOutput>CA!E</QdxOutput>"),
              "pull.txt: byte 13: not base64 here: \"!E\"");
}

TEST(PullReader, RefusesCharactersAfterThePadding) {
    EXPECT_EQ(complaintAbout("<QdxOutput>CAE=CAE=</QdxOutput>"),
              "pull.txt: byte 15: not base64 here: \"CAE=\"");
}

TEST(PullReader, RefusesANulInBase64) {
    EXPECT_EQ(complaintAbout(std::string("<QdxOutput>CA\0=</QdxOutput>", 27)),
              "pull.txt: byte 13: not base64 here: \"?=\"");
}

TEST(PullReader, RefusesMissingAndSuperfluousPadding) {
    const std::string complaint = " characters with wrong padding; the pull's text is damaged";
    EXPECT_EQ(complaintAbout("<QdxOutput>CAE</QdxOutput>"),
              "pull.txt: byte 11: base64 of 3" + complaint);
    EXPECT_EQ(complaintAbout("<QdxOutput>A===</QdxOutput>"),
              "pull.txt: byte 11: base64 of 4" + complaint);
    EXPECT_EQ(complaintAbout("<QdxOutput>====</QdxOutput>"),
              "pull.txt: byte 11: base64 of 4" + complaint);
}

TEST(PullReader, RefusesBytesThatAreNoMessage) {
    EXPECT_EQ(complaintAbout(pullOf("\x08")), "pull.txt: byte 11: 1 bytes that are no collections");
}

TEST(PullReader, RefusesAMessageThatIsCutOff) {
    auto bytes = bytesOf(70000);
    bytes.pop_back();
    EXPECT_EQ(complaintAbout(pullOf(bytes)), "pull.txt: byte 11: " + std::to_string(bytes.size()) +
                                                 " bytes that are no collections");
}

TEST(PullReader, RefusesAMessageWithoutVersion) {
    EXPECT_EQ(complaintAbout("<QdxOutput></QdxOutput>"),
              "pull.txt: byte 11: a message without version, so it holds no collections");
}

TEST(PullReader, RefusesAnotherVersion) {
    EXPECT_EQ(complaintAbout(pullOf("\x08\x02")),
              "pull.txt: byte 11: version 2 of the format; this program reads version 1");
}

// A message with so many empty collections, of all kinds in turn.
std::string bytesOfMany(int collections) {
    std::string bytes = "\x08\x01";
    for (int collection = 0; collection < collections; ++collection) {
        bytes += static_cast<char>(0x12 + collection % 3 * 8);
        bytes += '\0';
    }
    return bytes;
}

TEST(PullReader, RefusesMoreCollectionsThanAnyCollectorMakes) {
    EXPECT_EQ(complaintAbout(pullOf(bytesOfMany(200'001))),
              "pull.txt: byte 11: more than 200000 collections");
}

TEST(PullReader, CountsTheCollectionsOfAllMessages) {
    const auto first = pullOf(bytesOfMany(100'000));
    EXPECT_EQ(readPulls(first + first, "").size(), 2U);
    EXPECT_EQ(complaintAbout(first + first + pullOf(bytesOfMany(1))),
              "pull.txt: byte " + std::to_string(2 * first.size() + 11) +
                  ": more than 200000 collections");
}

TEST(PullReader, RefusesMoreMessagesThanAnybodyReads) {
    std::string text;
    for (int message = 0; message < 200'000; ++message) {
        text += "<QdxOutput>CAE=</QdxOutput>";
    }
    EXPECT_EQ(readPulls(text, "").size(), 200'000U);
    EXPECT_EQ(complaintAbout(text + pullOf(bytesOf(7))),
              "pull.txt: byte " + std::to_string(text.size() + 11) + ": more than 200000 messages");
}

TEST(PullReader, RefusesAnInputPastTheLimit) {
    EXPECT_EQ(complaintAbout(std::string(longestInput + 1, 'x')),
              "pull.txt: longer than 134217728 bytes");
}

TEST(PullReader, RefusesAMessagePastTheLimit) {
    const std::string complaint = "pull.txt: longer than 67108864 bytes";
    EXPECT_EQ(complaintAbout("\x08\x01" + std::string(longestMessage, '\x2A')), complaint);
    EXPECT_EQ(complaintAbout("<QdxOutput>" + std::string(longestMessage / 3 * 4 + 8, 'A') +
                             "</QdxOutput>"),
              complaint);
}

TEST(PullReader, KeepsTheBytesAsTheyCame) {
    const std::string unusual("\x12\x00\x08\x01\x78\x05", 6);
    const auto pulls = readPulls(pullOf(unusual), "");
    EXPECT_EQ(pulls.at(0).bytes, unusual);
    EXPECT_EQ(pulls.at(0).collections.measurementcollections_size(), 1);
}

TEST(PullReader, TellsRawBytesByTheirFirstByte) {
    const auto bytes = bytesOf(7);
    const auto pulls = readPulls(bytes, "pull.raw");
    ASSERT_EQ(pulls.size(), 1U);
    EXPECT_EQ(pulls[0].bytes, bytes);
    EXPECT_EQ(pulls[0].collections.measurementcollections(0).id(), 7U);
}

TEST(PullReader, TakesRawBytesThatLookLikeTextForWhatTheyAre) {
    Qdx::InfoObjectCollections message;
    message.set_version(1);
    message.mutable_radiometadata()->set_hwname("<QdxOutput>CAE=</QdxOutput>");
    const auto pulls = readPulls(message.SerializeAsString(), "pull.raw");
    EXPECT_EQ(pulls.at(0).collections.radiometadata().hwname(), "<QdxOutput>CAE=</QdxOutput>");
}

TEST(PullReader, TakesAnyFirstByteWhenToldThatBytesAreRaw) {
    const std::string versionBehind("\x12\x02\x08\x07\x08\x01", 6);
    EXPECT_NE(complaintAbout(versionBehind), "nothing thrown");
    const auto pulls = readPulls(versionBehind, "pull.raw", InputForm::Raw);
    EXPECT_EQ(pulls.at(0).collections.measurementcollections(0).id(), 7U);
}

TEST(PullReader, ReadsRawMessagesBehindEachOtherAsOne) {
    const auto pulls = readPulls(bytesOf(7) + bytesOf(9), "pull.raw");
    ASSERT_EQ(pulls.size(), 1U);
    EXPECT_EQ(pulls[0].collections.measurementcollections(0).id(), 7U);
    EXPECT_EQ(pulls[0].collections.measurementcollections(1).id(), 9U);
}

TEST(PullReader, ReadsOneMessageOfBytes) {
    EXPECT_EQ(readMessage(bytesOf(7), "").collections.measurementcollections(0).id(), 7U);
}

TEST(PullReader, RefusesDamagedRawBytes) {
    EXPECT_EQ(complaintAbout("\x08"), "pull.txt: 1 bytes that are no collections");
    EXPECT_EQ(complaintAbout("\x08\x02"),
              "pull.txt: version 2 of the format; this program reads version 1");
    EXPECT_EQ(errorText<BadData>([] { readPulls("\x12\x01\x08", "pull.raw", InputForm::Raw); }),
              "pull.raw: 3 bytes that are no collections");
    EXPECT_EQ(errorText<BadData>([] { readMessage("", "pull.raw"); }),
              "pull.raw: a message without version, so it holds no collections");
}

// Whatever the bytes, the answer is messages or a complaint.
TEST(PullReader, SurvivesDamageAnywhere) {
    Qdx::InfoObjectCollections message;
    message.set_version(1);
    auto* const collection = message.add_countercollections();
    collection->set_id(1402);
    collection->mutable_context()->set_device_id(3);
    for (int value = 0; value < 50; ++value) {
        collection->add_values(std::int64_t{value} * value);
        collection->add_timestamps(1'700'000'000);
    }
    const auto bytes = message.SerializeAsString();
    std::mt19937 random(1);
    int complaints = 0;
    for (int round = 0; round < 5000; ++round) {
        auto damaged = bytes;
        for (auto hits = 1 + random() % 3; hits > 0; --hits) {
            damaged[random() % damaged.size()] = static_cast<char>(random());
        }
        try {
            EXPECT_EQ(readPulls(pullOf(damaged), "").size(), 1U);
        } catch (const BadData&) {
            ++complaints;
        }
    }
    EXPECT_GT(complaints, 0);
    EXPECT_LT(complaints, 5000);
}

}  // namespace
}  // namespace Qdx::Pull
