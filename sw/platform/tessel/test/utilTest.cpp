#include "tessel/util.hpp"

#include <gmock/gmock.h>

#include <random>

namespace {

using Tessel::Util::Base64;
using Tessel::Util::tokenize;
using Tessel::Util::trim;
using testing::ElementsAre;

std::vector<unsigned char> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

// Bit by bit, as the definition of base64 tells it.
std::string encodeSlowly(const std::vector<unsigned char>& bytes) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
        unsigned value = 0;
        for (std::size_t i = bit; i < bit + 6; ++i) {
            const unsigned byte = i / 8 < bytes.size() ? bytes[i / 8] : 0U;
            value = value * 2 + ((byte >> (7 - i % 8)) & 1U);
        }
        text += alphabet[value];
    }
    text.resize((text.size() + 3) / 4 * 4, '=');
    return text;
}

TEST(TokenizeTest, CutsAtEachOfTheDelimiters) {
    EXPECT_THAT(tokenize("a b\tc", " \t"), ElementsAre("a", "b", "c"));
}

TEST(TokenizeTest, GivesAnEmptyTokenBetweenAdjacentDelimiters) {
    EXPECT_THAT(tokenize("a  b", " "), ElementsAre("a", "", "b"));
}

TEST(TokenizeTest, GivesAnEmptyTokenAtEitherEnd) {
    EXPECT_THAT(tokenize(",a,", ","), ElementsAre("", "a", ""));
}

TEST(TokenizeTest, GivesOneEmptyTokenForAnEmptyText) {
    EXPECT_THAT(tokenize("", ","), ElementsAre(""));
}

TEST(TokenizeTest, LeavesTheTextWholeWithoutDelimiters) {
    EXPECT_THAT(tokenize("a b", ""), ElementsAre("a b"));
}

TEST(TrimTest, TakesBlanksTabsAndLineEndsOffBothEnds) {
    EXPECT_EQ(trim(" \t\r\na b \n"), "a b");
}

TEST(TrimTest, TakesOffTheGivenCharactersOnly) {
    EXPECT_EQ(trim("-- a --", "-"), " a ");
}

TEST(TrimTest, LeavesNothingOfATextOfBlanks) {
    EXPECT_EQ(trim(" \n "), "");
}

TEST(Base64Test, PadsToAMultipleOfFour) {
    EXPECT_EQ(Base64::encode({}), "");
    EXPECT_EQ(Base64::encode(bytesOf("f")), "Zg==");
    EXPECT_EQ(Base64::encode(bytesOf("fo")), "Zm8=");
    EXPECT_EQ(Base64::encode(bytesOf("foo")), "Zm9v");
    EXPECT_EQ(Base64::encode(bytesOf("foob")), "Zm9vYg==");
    EXPECT_EQ(Base64::encode(bytesOf("fooba")), "Zm9vYmE=");
    EXPECT_EQ(Base64::encode(bytesOf("foobar")), "Zm9vYmFy");
}

TEST(Base64Test, UsesPlusAndSlashForTheLastTwoValues) {
    EXPECT_EQ(Base64::encode({0xFB, 0xEF, 0xFF}), "++//");
}

TEST(Base64Test, EncodesAndDecodesRandomBytesLikeTheReference) {
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 200; ++size) {
        std::vector<unsigned char> bytes(size);
        for (auto& byte : bytes) {
            byte = static_cast<unsigned char>(random());
        }
        const auto text = Base64::encode(bytes);
        EXPECT_EQ(text, encodeSlowly(bytes)) << size;
        EXPECT_EQ(Base64::decode(text), bytes) << size;
    }
}

TEST(Base64Test, DecodesWithoutPadding) {
    EXPECT_EQ(Base64::decode("Zm9vYg"), bytesOf("foob"));
}

TEST(Base64Test, StopsAtTheFirstPaddingCharacter) {
    EXPECT_EQ(Base64::decode("Zg==Zm9v"), bytesOf("f"));
}

TEST(Base64Test, StopsAtAStrayCharacterAndKeepsWhatCameBefore) {
    EXPECT_EQ(Base64::decode("Zm9v\nZm9v"), bytesOf("foo"));
    EXPECT_EQ(Base64::decode("Zm-vZm9v"), bytesOf("f"));
    EXPECT_EQ(Base64::decode(std::string("Zm9v\0Zm9v", 9)), bytesOf("foo"));
}

TEST(Base64Test, StopsAtACharacterOverSevenBits) {
    EXPECT_EQ(Base64::decode("Zm9v\xC3\xA9Zm9v"), bytesOf("foo"));
}

TEST(Base64Test, DropsBitsThatMakeNoWholeByte) {
    EXPECT_TRUE(Base64::decode("Z").empty());
    EXPECT_EQ(Base64::decode("Zm9"), bytesOf("fo"));
}

}  // namespace
