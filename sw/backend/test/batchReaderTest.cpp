#include "batchReader.hpp"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "batchMessage.hpp"

namespace Qdx::Backend {
namespace {

using Qdx::Test::BatchMessage;
using Bytes = std::vector<unsigned char>;

// The head of an item whose key text and size field are as given, and where the reader then stands,
// from the item's start.
struct Head {
    bool whole;
    BatchItem item;
    std::size_t advance;
};

Head readHead(const std::string& keyText, std::uint32_t size = 8) {
    const auto bytes = BatchMessage().recordOfSize(keyText, size, {}).bytes();
    BatchReader batch(bytes);
    Head head{};
    head.whole = batch.readHead(head.item);
    head.advance = batch.offset() - BatchReader::fixedSize;
    return head;
}

TEST(BatchReaderTest, SectionsFollowEachOther) {
    const auto bytes =
        BatchMessage().claimMeasurementBytes(10).claimCounterBytes(20).claimRecordBytes(30).bytes();
    const BatchReader batch(bytes);
    EXPECT_EQ(batch.measurementEnd(), 38);
    EXPECT_EQ(batch.counterEnd(), 58);
    EXPECT_EQ(batch.recordEnd(), 88);
}

TEST(BatchReaderTest, SectionEndsDoNotWrap) {
    const auto bytes = BatchMessage()
                           .claimMeasurementBytes(0xFFFFFFFF)
                           .claimCounterBytes(0xFFFFFFFF)
                           .claimRecordBytes(0xFFFFFFFF)
                           .bytes();
    const BatchReader batch(bytes);
    EXPECT_EQ(batch.recordEnd(), 28 + 3 * 0xFFFFFFFFull);
}

TEST(BatchReaderTest, ReadsNameAndContext) {
    const auto head = readHead("a:b rfBranch=1", 77);
    EXPECT_TRUE(head.whole);
    EXPECT_EQ(head.item.name, "a:b");
    EXPECT_EQ(head.item.context, "rfBranch=1");
    EXPECT_EQ(head.item.size, 77);
    EXPECT_EQ(head.advance, 15 + 4);
}

TEST(BatchReaderTest, SizeFollowsTheNulOfANameAlone) {
    const auto head = readHead("name", 0x01020304);
    EXPECT_EQ(head.item.name, "name");
    EXPECT_EQ(head.item.context, "");
    EXPECT_EQ(head.item.size, 0x01020304);
    EXPECT_EQ(head.advance, 5 + 4);
}

TEST(BatchReaderTest, TwoBlanksPutTheCursorOneByteTooEarly) {
    const auto head = readHead("a  b", 0x01020304);
    EXPECT_EQ(head.item.name, "a");
    EXPECT_EQ(head.item.context, "b");
    EXPECT_EQ(head.item.size, 0x00010203);
}

TEST(BatchReaderTest, LeadingBlankPutsTheCursorOneByteTooEarly) {
    const auto head = readHead(" a", 0x01020304);
    EXPECT_EQ(head.item.name, "a");
    EXPECT_EQ(head.item.size, 0x00010203);
}

TEST(BatchReaderTest, ThirdWordIsTakenForTheSize) {
    const auto head = readHead("a b wxyz");
    EXPECT_EQ(head.item.context, "b");
    EXPECT_EQ(head.item.size, 0x7778797A);
}

TEST(BatchReaderTest, EmptyKeyTextIsAnItemWithoutAName) {
    const auto head = readHead("", 5);
    EXPECT_TRUE(head.whole);
    EXPECT_EQ(head.item.name, "");
    EXPECT_EQ(head.item.size, 5);
    EXPECT_EQ(head.advance, 1 + 4);
}

TEST(BatchReaderTest, EveryWhiteSpaceOfStreamsSeparatesWords) {
    for (const char blank : {' ', '\t', '\n', '\v', '\f', '\r'}) {
        const auto head = readHead(std::string("a") + blank + "b");
        EXPECT_EQ(head.item.name, "a");
        EXPECT_EQ(head.item.context, "b");
    }
}

TEST(BatchReaderTest, HeadWithoutNulRunsPastTheMessage) {
    const auto bytes = BatchMessage().recordOfSize("abc", 8, {}).cutTo(28 + 3).bytes();
    BatchReader batch(bytes);
    BatchItem item;
    EXPECT_FALSE(batch.readHead(item));
    EXPECT_EQ(batch.offset(), 28);
}

TEST(BatchReaderTest, HeadWithItsSizeCutShortRunsPastTheMessage) {
    for (std::size_t missing = 1; missing <= 4; ++missing) {
        const auto whole = BatchMessage().recordOfSize("abc d", 8, {});
        const auto bytes = BatchMessage(whole).cutTo(whole.bytes().size() - missing).bytes();
        BatchReader batch(bytes);
        BatchItem item;
        EXPECT_FALSE(batch.readHead(item)) << missing;
        EXPECT_EQ(batch.offset(), 28);
    }
}

TEST(BatchReaderTest, PayloadEndsWithTheMessage) {
    const auto bytes = BatchMessage().record("a", {1, 2, 3}).bytes();
    BatchReader batch(bytes);
    BatchItem item;
    std::span<const unsigned char> payload;
    ASSERT_TRUE(batch.readHead(item));
    EXPECT_FALSE(batch.readPayload(4, payload));
    EXPECT_FALSE(batch.readPayload(0xFFFFFFFF, payload));
    EXPECT_TRUE(batch.readPayload(3, payload));
    EXPECT_EQ(Bytes(payload.begin(), payload.end()), (Bytes{1, 2, 3}));
    EXPECT_TRUE(batch.readPayload(0, payload));
    EXPECT_FALSE(batch.readHead(item));
}

// Words of a text as the standard library's stream extraction cuts them.
TEST(BatchReaderTest, CutsKeyTextsAsStreamExtractionDoes) {
    std::mt19937 random(20211);
    const std::string alphabet = "ab= \t\n:,";
    for (int round = 0; round < 20'000; ++round) {
        std::string keyText(random() % 12, ' ');
        for (auto& c : keyText) {
            c = alphabet[random() % alphabet.size()];
        }
        std::istringstream stream(keyText);
        std::string name;
        std::string context;
        stream >> name >> context;

        const auto head = readHead(keyText, 0);
        ASSERT_TRUE(head.whole) << keyText;
        ASSERT_EQ(head.item.name, name) << keyText;
        ASSERT_EQ(head.item.context, context) << keyText;
        ASSERT_EQ(head.advance, name.size() + 1 + (context.empty() ? 0 : context.size() + 1) + 4)
            << keyText;
    }
}

}  // namespace
}  // namespace Qdx::Backend
