#include "filterFile.hpp"

#include <gmock/gmock.h>

namespace DchFilter {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> statementsOf(std::string_view text) {
    std::vector<std::string> statements;
    for (const auto& line : readFilterFile("file", text).lines) {
        statements.push_back(statementText(line));
    }
    return statements;
}

TEST(FilterFile, GivesTheWordsOfALineAsAShellJoinsThem) {
    EXPECT_THAT(statementsOf("list count 5\n"), ElementsAre(" list count 5"));
    EXPECT_THAT(statementsOf(" \tlist  count\t \t5 \t\n"), ElementsAre(" list count 5"));
}

TEST(FilterFile, TakesLineEndsOfAllKinds) {
    EXPECT_THAT(statementsOf("a\r\nb\nc"), ElementsAre(" a", " b", " c"));
}

TEST(FilterFile, KeepsACarriageReturnInsideALine) {
    EXPECT_THAT(statementsOf("a\rb\n"), ElementsAre(" a\rb"));
}

TEST(FilterFile, LeavesOutBlankLinesAndComments) {
    EXPECT_THAT(statementsOf("# one\n\n \t\n  # two\na\n#b"), ElementsAre(" a"));
}

TEST(FilterFile, KeepsAHashInsideALine) {
    EXPECT_THAT(statementsOf("a # b\n"), ElementsAre(" a # b"));
}

TEST(FilterFile, CountsAllLines) {
    const auto file = readFilterFile("file", "# one\n\na\n\n");
    EXPECT_EQ(file.lineCount, 4U);
    ASSERT_EQ(file.lines.size(), 1U);
    EXPECT_EQ(file.lines[0].number, 3U);
}

TEST(FilterFile, IsEmptyForAnEmptyText) {
    EXPECT_THAT(statementsOf(""), IsEmpty());
    EXPECT_EQ(readFilterFile("file", "").lineCount, 0U);
}

TEST(FilterFile, FindsEachByteOfAStatementInItsLine) {
    const auto file = readFilterFile("file", "  ab \t cde ");
    const auto& line = file.lines.at(0);
    const std::string text = statementText(line);
    ASSERT_EQ(text, " ab cde");
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != ' ') {
            EXPECT_EQ(line.text[columnOf(line, i)], text[i]) << i;
        }
    }
}

TEST(FilterFile, PutsWhatIsMissingBehindTheWordBefore) {
    const auto file = readFilterFile("file", "  ab \t cde ");
    const auto& line = file.lines.at(0);
    EXPECT_EQ(columnOf(line, 3), 4U);  // the blank
    EXPECT_EQ(columnOf(line, 7), 10U);
    EXPECT_EQ(columnOf(line, 100), 10U);
}

}  // namespace
}  // namespace DchFilter
