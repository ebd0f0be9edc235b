#include "filterCheck.hpp"

#include <gmock/gmock.h>

namespace DchFilter {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

FilterCheck check(std::string_view text) {
    return checkFilter(readFilterFile("file", text));
}

// "LINE:COLUMN: text", columns from 1.
std::vector<std::string> faultsOf(std::string_view text) {
    std::vector<std::string> texts;
    for (const auto& one : check(text).diagnostics) {
        texts.push_back(std::to_string(one.line) + ':' + std::to_string(one.column + 1) + ": " +
                        one.text);
    }
    return texts;
}

TEST(FilterCheck, GivesLimitAndStatements) {
    const auto filter = check("# comment\nlimit 524288\n\nlist count 5\ntags CPU max count 1 2\n");
    EXPECT_TRUE(filter.isGood());
    EXPECT_EQ(filter.limit, 524288U);
    ASSERT_THAT(filter.statements, SizeIs(2));
    EXPECT_EQ(filter.statements[0].line.number, 4U);
    EXPECT_TRUE(filter.statements[1].parsed.getTags().contains("CPU"));
    EXPECT_EQ(filter.statements[1].outline.tags, " tags CPU");
}

TEST(FilterCheck, FindsEveryBadLine) {
    EXPECT_THAT(faultsOf("limit x\nlist count\nlist count 5\n  tags  cpu list count 5\n"),
                ElementsAre("1:7: not a number of bytes; digits only are expected here",
                            "2:11: the statement ends; a number is expected here",
                            "4:9: found \"cpu\"; tags are written in capital letters: CPU"));
}

TEST(FilterCheck, AsksForTheLimit) {
    const auto* const wanted =
        "\"limit BYTES\" is expected before the statements (limit 0: no limit of its own)";
    EXPECT_THAT(faultsOf("list count 5\n"), ElementsAre(std::string("1:1: ") + wanted));
    EXPECT_THAT(faultsOf(""), ElementsAre(std::string("1:1: no filter in this file; ") + wanted));
    EXPECT_THAT(faultsOf("# only\n"), ElementsAre(HasSubstr("2:1: no filter in this file")));
}

TEST(FilterCheck, ChecksAStatementThatStandsWhereTheLimitShould) {
    EXPECT_THAT(faultsOf("list count\n"),
                ElementsAre(HasSubstr("before the statements"), HasSubstr("a number is expected")));
}

TEST(FilterCheck, RefusesLimitsThatAreNone) {
    EXPECT_THAT(faultsOf("limit\nlist count 5"), ElementsAre(HasSubstr("1:6: a number of bytes")));
    EXPECT_THAT(faultsOf("limit 5k\nlist count 5"), ElementsAre(HasSubstr("1:7: not a number")));
    EXPECT_THAT(faultsOf("limit -5\nlist count 5"), ElementsAre(HasSubstr("1:7: not a number")));
    EXPECT_THAT(faultsOf("limit 5 5\nlist count 5"), ElementsAre(HasSubstr("1:9: nothing more")));
    EXPECT_THAT(faultsOf("Limit 5\nlist count 5"),
                ElementsAre("1:1: found \"Limit\"; did you mean \"limit\"?"));
}

// The collector's percentages of a larger one overflow.
TEST(FilterCheck, RefusesLimitsThatAreTooLarge) {
    EXPECT_THAT(faultsOf("limit 184467440737095516\nlist count 5"), IsEmpty());
    EXPECT_THAT(faultsOf("limit 184467440737095517\nlist count 5"),
                ElementsAre(HasSubstr("1:7: too large; a number up to 184467440737095516")));
    EXPECT_THAT(faultsOf("limit 18446744073709551616\nlist count 5"),
                ElementsAre(HasSubstr("1:7: too large")));
}

TEST(FilterCheck, RefusesASecondLimit) {
    EXPECT_THAT(faultsOf("limit 0\nlist count 5\nlimit 5\n"),
                ElementsAre("3:1: a second limit; there is one, before the statements"));
}

TEST(FilterCheck, AsksForAStatement) {
    EXPECT_THAT(faultsOf("limit 0\n"),
                ElementsAre("2:1: no capture statement in this file; a filter needs at least one"));
}

TEST(FilterCheck, RefusesALimitInWhichTheFilterItselfDoesNotFit) {
    EXPECT_THAT(faultsOf("limit 100\nlist count 5\n"),
                ElementsAre(HasSubstr("1:7: too little: the filter itself takes ")));
    EXPECT_THAT(faultsOf("limit 0\nlist count 5\n"), IsEmpty());
    EXPECT_THAT(faultsOf("limit 10000\nlist count 5\n"), IsEmpty());
}

TEST(FilterCheck, TellsOfWarningsInAGoodFilter) {
    const auto filter = check("limit 0\nmin count 5 0\n");
    EXPECT_TRUE(filter.isGood());
    ASSERT_THAT(filter.diagnostics, SizeIs(1));
    EXPECT_EQ(filter.diagnostics[0].severity, Severity::Warning);
    EXPECT_EQ(filter.diagnostics[0].column, 12U);
}

TEST(FilterCheck, RefusesMoreStatementsThanThereMayBe) {
    std::string text = "limit 0\n";
    for (std::size_t statement = 0; statement < 1000; ++statement) {
        text += "list count 5\n";
    }
    EXPECT_THAT(faultsOf(text), IsEmpty());
    const auto filter = check(text + "# one more:\n  list count 5\nlist count x\n");
    ASSERT_THAT(filter.diagnostics, SizeIs(1));
    EXPECT_EQ(filter.diagnostics[0].line, 1003U);
    EXPECT_EQ(filter.diagnostics[0].column, 2U);
    EXPECT_EQ(filter.diagnostics[0].text,
              "more than 1000 statements; make several filters of them");
    EXPECT_FALSE(filter.isGood());
    EXPECT_THAT(filter.statements, SizeIs(1000));
}

TEST(FilterCheck, CountsLinesThatAreWrongAsStatementsToo) {
    std::string text;
    for (std::size_t line = 0; line < 1500; ++line) {
        text += "limit 0\n";
    }
    const auto faults = faultsOf(text);
    ASSERT_THAT(faults, SizeIs(1001));
    EXPECT_THAT(faults.back(), HasSubstr("1002:1: more than 1000 statements"));
}

// "dch fs add 4294967295" and the statement make a line of 4096 characters.
TEST(FilterCheck, RefusesStatementsThatDoNotFitOnTheCommandLine) {
    EXPECT_EQ(longestStatement(), 4075U);
    const std::string start = "list count ";
    const std::string fits =
        start + std::string(longestStatement() - 1 - start.size() - 1, '0') + '5';
    EXPECT_THAT(faultsOf("limit 0\n" + fits), IsEmpty());
    EXPECT_THAT(faultsOf("limit 0\n" + fits + "5"),
                ElementsAre("2:4075: the statement has 4075 characters; 4074 fit on the "
                            "collector's command line"));
}

}  // namespace
}  // namespace DchFilter
