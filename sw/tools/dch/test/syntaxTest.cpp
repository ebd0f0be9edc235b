#include "syntax.hpp"

#include <gmock/gmock.h>

namespace Dch {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Place word(const std::string& text) {
    return {{text}, ""};
}

Place parameter(const std::string& name) {
    return {{}, name};
}

TEST(SyntaxTest, PlainWordsStandForThemselves) {
    EXPECT_THAT(parseSyntax(" dch  filter status "),
                ElementsAre(word("dch"), word("filter"), word("status")));
    EXPECT_THAT(parseSyntax(""), IsEmpty());
}

TEST(SyntaxTest, BracesHoldChoices) {
    EXPECT_THAT(parseSyntax("pull { keep | clear } x"),
                ElementsAre(word("pull"), Place{{"keep", "clear"}, ""}, word("x")));
    EXPECT_THAT(parseSyntax("{keep|clear}"), ElementsAre(Place{{"keep", "clear"}, ""}));
}

TEST(SyntaxTest, AngleBracketsHoldAParameter) {
    EXPECT_THAT(parseSyntax("enable <filterId>"),
                ElementsAre(word("enable"), parameter("filterId")));
    EXPECT_THAT(parseSyntax("add < transaction_id >"),
                ElementsAre(word("add"), parameter("transaction_id")));
    EXPECT_THAT(parseSyntax("limit < 0 | memoryLimit>"),
                ElementsAre(word("limit"), parameter("0 | memoryLimit")));
}

TEST(SyntaxTest, BracketThatIsNotClosedReachesToTheEnd) {
    EXPECT_THAT(parseSyntax("a <b c"), ElementsAre(word("a"), parameter("b c")));
    EXPECT_THAT(parseSyntax("a { b | c"), ElementsAre(word("a"), Place{{"b", "c"}, ""}));
    EXPECT_THAT(parseSyntax("<"), ElementsAre(parameter("")));
    EXPECT_THAT(parseSyntax("{"), ElementsAre(parameter("")));
}

TEST(SyntaxTest, NextPlaceIsTheOneBehindWordsThatFit) {
    const auto places = parseSyntax("dch filter pull { keep | clear } <filterId>");
    EXPECT_EQ(*findPlaceBehind(places, {}), word("dch"));
    EXPECT_EQ(*findPlaceBehind(places, {"dch", "filter", "pull", "clear"}), parameter("filterId"));
    EXPECT_EQ(findPlaceBehind(places, {"dch", "fs"}), nullptr);
    EXPECT_EQ(findPlaceBehind(places, {"dch", "filter", "pull", "keeps"}), nullptr);
    EXPECT_EQ(findPlaceBehind(places, {"dch", "filter", "pull", "keep", "11"}), nullptr);
}

TEST(SyntaxTest, WordsFitAsFarAsTheyGo) {
    const auto places = parseSyntax("dch filter status");
    EXPECT_TRUE(fit(places, {}));
    EXPECT_TRUE(fit(places, {"dch", "filter"}));
    EXPECT_TRUE(fit(places, {"dch", "filter", "status"}));
    EXPECT_FALSE(fit(places, {"dch", "fil"}));
    EXPECT_FALSE(fit(places, {"dch", "filter", "status", "x"}));
    EXPECT_FALSE(fit({}, {}));
}

TEST(SyntaxTest, ParameterAtTheEndTakesAnyNumberOfWords) {
    const auto places = parseSyntax("dch fs add < transaction_id >");
    EXPECT_TRUE(fit(places, {"dch", "fs", "add", "0", "tags", "CPU"}));
    EXPECT_EQ(findPlaceBehind(places, {"dch", "fs", "add", "0", "tags"}), nullptr);
}

}  // namespace
}  // namespace Dch
