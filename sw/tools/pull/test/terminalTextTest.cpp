#include "pull/terminalText.hpp"

#include <gtest/gtest.h>

namespace Qdx::Pull {
namespace {

TEST(PlainText, KeepsPrintableAscii) {
    EXPECT_EQ(plainText("host:cpu (a) ~", Glyphs::Unicode), "host:cpu (a) ~");
    EXPECT_EQ(plainText("host:cpu (a) ~", Glyphs::Ascii), "host:cpu (a) ~");
}

TEST(PlainText, KeepsCharactersOfEverySizeInUnicode) {
    EXPECT_EQ(plainText("µ°C €€ 𝄞", Glyphs::Unicode), "µ°C €€ 𝄞");
}

TEST(PlainText, ReplacesEachCharacterOutsideAscii) {
    EXPECT_EQ(plainText("µ°C € 𝄞", Glyphs::Ascii), "??C ? ?");
}

TEST(PlainText, ReplacesControlCharacters) {
    EXPECT_EQ(plainText("a\x1b[2Jb\nc\rd\x7f", Glyphs::Unicode), "a?[2Jb?c?d?");
    EXPECT_EQ(plainText(std::string_view("a\0b", 3), Glyphs::Unicode), "a?b");
}

TEST(PlainText, ReplacesTheSecondBlockOfControlCharacters) {
    EXPECT_EQ(plainText("a\xC2\x9B"
                        "2Jb\xC2\x80\xC2\xA0",
                        Glyphs::Unicode),
              "a?2Jb?\xC2\xA0");
}

TEST(PlainText, ReplacesCharactersThatHideThemselvesOrTurnTheOrderOfOthers) {
    for (const auto* deceiver :
         {"\u200B", "\u200C", "\u200D", "\u200E", "\u200F", "\u202A", "\u202B", "\u202C", "\u202D",
          "\u202E", "\u2066", "\u2067", "\u2068", "\u2069"}) {
        EXPECT_EQ(plainText(std::string("a").append(deceiver).append("b"), Glyphs::Unicode), "a?b");
    }
    for (const auto* neighbour : {"\u200A", "\u2010", "\u2029", "\u202F", "\u2065", "\u206A"}) {
        EXPECT_EQ(plainText(neighbour, Glyphs::Unicode), neighbour);
    }
}

TEST(PlainText, ReplacesEachByteThatIsNoUtf8) {
    EXPECT_EQ(plainText("\xFF\xFE x", Glyphs::Unicode), "?? x");
    EXPECT_EQ(plainText("\x80\xBF", Glyphs::Unicode), "??");
}

TEST(PlainText, ReplacesCharactersThatAreCutOff) {
    EXPECT_EQ(plainText("a\xE2\x82", Glyphs::Unicode), "a??");
    EXPECT_EQ(plainText("\xE2\x82z", Glyphs::Unicode), "??z");
    EXPECT_EQ(plainText("\xC3", Glyphs::Unicode), "?");
}

TEST(PlainText, ReplacesFormsLongerThanNeeded) {
    EXPECT_EQ(plainText("\xC0\x9B", Glyphs::Unicode), "??");
    EXPECT_EQ(plainText("\xE0\x80\x9B", Glyphs::Unicode), "???");
    EXPECT_EQ(plainText("\xF0\x80\x80\x9B", Glyphs::Unicode), "????");
}

TEST(PlainText, ReplacesSurrogatesAndWhatLiesPastTheLastCodePoint) {
    EXPECT_EQ(plainText("\xED\xA0\x80", Glyphs::Unicode), "???");
    EXPECT_EQ(plainText("\xED\x9F\xBF", Glyphs::Unicode), "\xED\x9F\xBF");
    EXPECT_EQ(plainText("\xF4\x90\x80\x80", Glyphs::Unicode), "????");
    EXPECT_EQ(plainText("\xF4\x8F\xBF\xBF", Glyphs::Unicode), "\xF4\x8F\xBF\xBF");
    EXPECT_EQ(plainText("\xF5\x80\x80\x80", Glyphs::Unicode), "????");
}

TEST(Columns, CountsCharactersNotBytes) {
    EXPECT_EQ(columns(""), 0U);
    EXPECT_EQ(columns("abc"), 3U);
    EXPECT_EQ(columns("▁▂█"), 3U);
}

TEST(CutTo, KeepsATextThatFits) {
    EXPECT_EQ(cutTo("abc", 3, Glyphs::Unicode), "abc");
    EXPECT_EQ(cutTo("°°°", 3, Glyphs::Unicode), "°°°");
}

TEST(CutTo, ShowsACutByAnEllipsisWithinTheWidth) {
    EXPECT_EQ(cutTo("abcd", 3, Glyphs::Unicode), "ab…");
    EXPECT_EQ(cutTo("abcd", 3, Glyphs::Ascii), "ab~");
    EXPECT_EQ(cutTo("°°°°", 3, Glyphs::Unicode), "°°…");
    EXPECT_EQ(cutTo("abcd", 1, Glyphs::Ascii), "~");
}

TEST(CutTo, LeavesNothingOfATextWithoutRoom) {
    EXPECT_EQ(cutTo("abcd", 0, Glyphs::Unicode), "");
}

}  // namespace
}  // namespace Qdx::Pull
