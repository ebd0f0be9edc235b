#include "completion.hpp"

#include <gmock/gmock.h>

namespace Dch {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Table table{
    {"dch filter pull { keep | clear } <filterId>", ""},
    {"dch filter enable <filterId>", ""},
    {"dch filter delete <filterId>", ""},
    {"dch filter deleteAll", ""},
    {"dch fs create limit < 0 | memoryLimit>", ""},
    {"dch fs add < transaction_id >", ""},
};

// The values of a unit with two filters and one transaction.
Words values(const std::string& parameter) {
    if (parameter == "filterId") {
        return {"static", "1", "11"};
    }
    return parameter == "transaction_id" ? Words{"7"} : Words{};
}

Words completionsOf(const Words& words) {
    return complete(table, words, values);
}

TEST(CompletionTest, OffersTheSubcommandsThatBeginLikeTheWord) {
    EXPECT_THAT(completionsOf({"dch", ""}), ElementsAre("filter", "fs"));
    EXPECT_THAT(completionsOf({"dch", "fi"}), ElementsAre("filter"));
    EXPECT_THAT(completionsOf({"dch", "filter", "del"}), ElementsAre("delete", "deleteAll"));
    EXPECT_THAT(completionsOf({"dch", "x"}), IsEmpty());
    EXPECT_THAT(completionsOf({"dc"}), ElementsAre("dch"));
}

TEST(CompletionTest, OffersTheChoicesOfAPlace) {
    EXPECT_THAT(completionsOf({"dch", "filter", "pull", ""}), ElementsAre("clear", "keep"));
    EXPECT_THAT(completionsOf({"dch", "filter", "pull", "k"}), ElementsAre("keep"));
}

TEST(CompletionTest, OffersTheValuesOfAParameter) {
    EXPECT_THAT(completionsOf({"dch", "filter", "enable", ""}), ElementsAre("1", "11", "static"));
    EXPECT_THAT(completionsOf({"dch", "filter", "pull", "keep", "s"}), ElementsAre("static"));
    EXPECT_THAT(completionsOf({"dch", "fs", "add", ""}), ElementsAre("7"));
}

TEST(CompletionTest, OffersNothingForAParameterWithoutValues) {
    EXPECT_THAT(completionsOf({"dch", "fs", "create", "limit", ""}), IsEmpty());
}

TEST(CompletionTest, OffersNothingBehindWordsThatDoNotFit) {
    EXPECT_THAT(completionsOf({"dch", "filter", "pull", "nonsense", ""}), IsEmpty());
    EXPECT_THAT(completionsOf({"dch", "filter", "deleteAll", ""}), IsEmpty());
    EXPECT_THAT(completionsOf({"dch", "fs", "add", "7", ""}), IsEmpty());
}

TEST(CompletionTest, AsksForEachParameterOnce) {
    const Table twice{{"c a <x>", ""}, {"c a <x>", ""}, {"c a <y>", ""}};
    Words asked;
    const auto ask = [&](const std::string& parameter) {
        asked.push_back(parameter);
        return Words{"v"};
    };
    EXPECT_THAT(complete(twice, {"c", "a", ""}, ask), ElementsAre("v"));
    EXPECT_THAT(asked, ElementsAre("x", "y"));
}

TEST(CompletionTest, AsksForNoParameterThatIsNotNext) {
    const auto refuse = [](const std::string& parameter) -> Words {
        throw std::logic_error(parameter);
    };
    EXPECT_THAT(complete(table, {"dch", "filter", "e"}, refuse), ElementsAre("enable"));
}

TEST(CompletionTest, LeavesOutWhatIsNoPrintableWord) {
    EXPECT_THAT(
        choose({"two words", "", "tab\t", "\x1B[2J", "\x7F", "line\n", "\xC3\xA9", "fine"}, ""),
        ElementsAre("fine", "\xC3\xA9"));
}

TEST(CompletionTest, FindsTheRowsThatBeginWithTheWords) {
    EXPECT_THAT(rowsThatFit(table, {"dch", "filter", "delete"}), ElementsAre(table[2]));
    EXPECT_THAT(rowsThatFit(table, {"dch", "fs"}), ElementsAre(table[4], table[5]));
    EXPECT_THAT(rowsThatFit(table, {}), testing::SizeIs(table.size()));
    EXPECT_THAT(rowsThatFit(table, {"rodc"}), IsEmpty());
}

}  // namespace
}  // namespace Dch
