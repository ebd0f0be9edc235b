#include "tessel/commandProtocol.hpp"

#include <gmock/gmock.h>

namespace {

using namespace Tessel::CommandProtocol;
using testing::ElementsAre;
using testing::Optional;

TEST(CommandProtocolTest, WritesKindAndLengthLowestByteFirst) {
    EXPECT_THAT(encodeHeader(Kind::Output, 0x01020304),
                ElementsAre('O', '\x04', '\x03', '\x02', '\x01'));
}

TEST(CommandProtocolTest, ReadsTheHeaderThatItWrote) {
    const auto header = decodeHeader(encodeHeader(Kind::Exit, 0xFEDCBA98));
    EXPECT_EQ(header.kind, Kind::Exit);
    EXPECT_EQ(header.lengthUntrusted, 0xFEDCBA98);
}

TEST(CommandProtocolTest, ReadsTheWordsThatItWrote) {
    const std::vector<std::string> words{"dch", "", "a b", "\xC3\xA9\n"};
    EXPECT_THAT(decodeWords(encodeWords(words)), Optional(words));
    EXPECT_THAT(decodeWords(""), Optional(std::vector<std::string>{}));
}

TEST(CommandProtocolTest, RefusesWordsCutAnywhere) {
    const auto bytes = encodeWords({"dch", "filter"});
    for (std::size_t size = 1; size < bytes.size(); ++size) {
        if (size != 4 + 3) {
            EXPECT_EQ(decodeWords(bytes.substr(0, size)), std::nullopt) << size;
        }
    }
}

TEST(CommandProtocolTest, RefusesAWordLongerThanTheRest) {
    EXPECT_EQ(decodeWords(std::string("\xFF\xFF\xFF\xFF"
                                      "abc")),
              std::nullopt);
}

TEST(CommandProtocolTest, RefusesAWordWithANul) {
    EXPECT_EQ(decodeWords(encodeWords({std::string("a\0b", 3)})), std::nullopt);
}

TEST(CommandProtocolTest, CarriesNegativeStatuses) {
    EXPECT_THAT(decodeStatus(encodeStatus(-2)), Optional(-2));
    EXPECT_THAT(decodeStatus(encodeStatus(127)), Optional(127));
}

TEST(CommandProtocolTest, RefusesAStatusOfAnotherSize) {
    EXPECT_EQ(decodeStatus("abc"), std::nullopt);
    EXPECT_EQ(decodeStatus("abcde"), std::nullopt);
}

TEST(CommandProtocolTest, CountsTheBlanksBetweenWords) {
    EXPECT_EQ(lineLength({}), 0U);
    EXPECT_EQ(lineLength({"dch"}), 3U);
    EXPECT_EQ(lineLength({"dch", "", "x"}), 6U);
}

TEST(CommandProtocolTest, PutsTheUnitRootInFrontOfThePath) {
    unsetenv("UNIT_ROOT");
    EXPECT_EQ(socketPath(), "/run/tessel/command.sock");
    setenv("UNIT_ROOT", "/one", 1);
    EXPECT_EQ(socketPath(), "/one/run/tessel/command.sock");
    setenv("UNIT_ROOT", "/other", 1);
    EXPECT_EQ(socketPath(), "/other/run/tessel/command.sock");
}

}  // namespace
