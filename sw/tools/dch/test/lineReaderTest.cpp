#include "lineReader.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <random>
#include <system_error>
#include <thread>

namespace Dch {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto maxLine = Tessel::CommandProtocol::maxLine;

// The lines of a pipe that gives the pieces one after another.
std::vector<std::string> linesOf(const std::vector<std::string>& pieces) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    std::thread writer([&] {
        for (const auto& piece : pieces) {
            EXPECT_EQ(write(ends[1], piece.data(), piece.size()),
                      static_cast<ssize_t>(piece.size()));
        }
        close(ends[1]);
    });
    LineReader reader(ends[0]);
    std::vector<std::string> lines;
    while (auto line = reader.next()) {
        lines.push_back(*std::move(line));
    }
    writer.join();
    close(ends[0]);
    return lines;
}

TEST(LineReaderTest, CutsAtNewlines) {
    EXPECT_THAT(linesOf({"a\n\n b \n"}), ElementsAre("a", "", " b "));
    EXPECT_THAT(linesOf({""}), IsEmpty());
}

TEST(LineReaderTest, NeedsNoNewlineBehindTheLastLine) {
    EXPECT_THAT(linesOf({"a\nb"}), ElementsAre("a", "b"));
}

TEST(LineReaderTest, TakesOneCarriageReturnOffTheEndOfALine) {
    EXPECT_THAT(linesOf({"a\r\nb\r\r\n\r\nc\rd\ne\r"}), ElementsAre("a", "b\r", "", "c\rd", "e"));
}

TEST(LineReaderTest, KeepsNulBytes) {
    EXPECT_THAT(linesOf({std::string("a\0b\nc", 5)}), ElementsAre(std::string("a\0b", 3), "c"));
}

TEST(LineReaderTest, KeepsOfALongLineEnoughToTell) {
    const std::string longest(maxLine, 'x');
    const auto lines = linesOf({longest + "\r\n", longest + "x\n", longest + "\rx\n",
                                longest + "\r\r\n", std::string(5000000, 'x') + "\nend"});
    ASSERT_THAT(lines, testing::SizeIs(6));
    EXPECT_EQ(lines[0], longest);
    for (std::size_t i = 1; i < 5; ++i) {
        EXPECT_GT(lines[i].size(), maxLine) << i;
        EXPECT_LE(lines[i].size(), maxLine + 2) << i;
    }
    EXPECT_EQ(lines[5], "end");
}

TEST(LineReaderTest, DoesNotCareHowTheBytesArrive) {
    std::mt19937 random(1);
    std::string text;
    for (int i = 0; i < 40000; ++i) {
        text += "ab\n"[random() % 3];
    }
    std::vector<std::string> pieces;
    for (std::size_t begin = 0; begin < text.size();) {
        pieces.push_back(text.substr(begin, 1 + random() % 3000));
        begin += pieces.back().size();
    }
    const auto lines = linesOf(pieces);
    std::string joined;
    for (const auto& line : lines) {
        joined += line + '\n';
    }
    EXPECT_EQ(joined, text.back() == '\n' ? text : text + '\n');
}

TEST(LineReaderTest, SaysThatItCannotRead) {
    LineReader reader(-1);
    EXPECT_THROW(reader.next(), std::system_error);
}

}  // namespace
}  // namespace Dch
