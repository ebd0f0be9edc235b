#include "explainer.hpp"

#include <gmock/gmock.h>

#include <random>

#include "agreement.hpp"
#include "contextKeys.hpp"

namespace DchFilter {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// A statement without the blank in front, the text from the fault on, and what is said about it.
struct Case {
    const char* statement;
    const char* from;
    const char* text;
};

void PrintTo(const Case& one, std::ostream* out) {
    *out << one.statement;
}

class ExplainerFaults : public testing::TestWithParam<Case> {};

TEST_P(ExplainerFaults, AreFoundWhereTheStatementStopsToMakeSense) {
    const auto text = std::string(" ") + GetParam().statement;
    const auto fault = explain(text).fault;
    ASSERT_TRUE(fault);
    EXPECT_EQ(text.substr(fault->offset), GetParam().from);
    EXPECT_EQ(fault->text, GetParam().text);
    EXPECT_EQ(disagreement(text), "");
}

const char* const aggregatorExpected =
    "the statement keeps nothing; an aggregator (min, max, average, sum, list) is expected here";

INSTANTIATE_TEST_SUITE_P(
    Explainer, ExplainerFaults,
    testing::Values(
        // Windows
        Case{"min count 10 25", "25",
             "25 is not a multiple of 10; a multiple of 10 is expected here"},
        Case{"max duration 60 3600 5000", "5000",
             "5000 is not a multiple of 3600; a multiple of 3600 is expected here"},
        Case{"min count 0 5", "5", "5 is not a multiple of 0; a multiple of 0 is expected here"},
        Case{"min count", "", "the statement ends; a number is expected here"},
        Case{"min count 10", "", "the statement ends; a second number is expected here"},
        Case{"min count 10 x", "x", "found \"x\"; a second number is expected here"},
        Case{"min count -1 10", "-1 10", "found \"-1\"; a number is expected here"},
        Case{"min", "", "the statement ends; \"count\" or \"duration\" is expected here"},
        Case{"min cuont 10 20", "cuont 10 20", "found \"cuont\"; did you mean \"count\"?"},
        Case{"min 10 20", "10 20", "found \"10\"; \"count\" or \"duration\" is expected here"},
        Case{"min count 10 100abc", "abc",
             "found \"abc\" behind a number; a blank is expected here"},
        Case{"min count 10x 100", "x 100",
             "found \"x\" without a blank in front; a blank is expected here"},
        // Lists
        Case{"list", "", "the statement ends; \"count\" or \"duration\" is expected here"},
        Case{"list count", "", "the statement ends; a number is expected here"},
        Case{"list count 5 6", "6",
             "found \"6\"; an aggregator (min, max, average, sum, list) is expected here"},
        Case{"list count 4294967296", "4294967296",
             "\"4294967296\" does not fit in 32 bits; a number up to 4294967295 is expected here"},
        // Tags
        Case{"tags", "", "the statement ends; a tag in capital letters is expected here"},
        Case{"tags CPU", "", aggregatorExpected},
        Case{"tags cpu list count 5", "cpu list count 5",
             "found \"cpu\"; tags are written in capital letters: CPU"},
        Case{"tags CPU load list count 5", "load list count 5",
             "found \"load\"; tags are written in capital letters: LOAD"},
        Case{"tags CPU2 list count 5", "2 list count 5",
             "found \"2\" in a tag; tags are of capital letters and \"_\""},
        Case{"tags CPU tags NET list count 5", "tags NET list count 5",
             "a second tags clause; all tags stand in the first one"},
        Case{"list count 5 tags CPU", "tags CPU", "tags stand before context and aggregators"},
        // Context
        Case{"context", "", "the statement ends; a context key with its number is expected here"},
        Case{"context rfbranch 1 list count 5", "rfbranch 1 list count 5",
             "there is no context key \"rfbranch\"; did you mean \"rfBranch\"?"},
        Case{"context rf_branch 1 list count 5", "rf_branch 1 list count 5",
             "there is no context key \"rf_branch\"; did you mean \"rfBranch\"?"},
        Case{"context colour 1 list count 5", "colour 1 list count 5",
             "there is no context key \"colour\""},
        Case{"context rfBranch 1 colour 2 list count 5", "colour 2 list count 5",
             "there is no context key \"colour\""},
        Case{"context rfBranch list count 5", "list count 5",
             "found \"list\"; a whole number for rfBranch is expected here"},
        Case{"context rfBranch 1 carrierId list count 5", "list count 5",
             "found \"list\"; a whole number for carrierId is expected here"},
        Case{"context rfBranch", "",
             "the statement ends; a whole number for rfBranch is expected here"},
        Case{"context rfBranch 2147483648 list count 5", "2147483648 list count 5",
             "\"2147483648\" does not fit in 32 bits; a number from -2147483648 to 2147483647 is "
             "expected here"},
        Case{"context rfBranch 1 list count 5 context carrierId 2", "context carrierId 2",
             "a second context clause; all keys stand in the first one"},
        Case{"list count 5 context carrierId 2", "context carrierId 2",
             "the context stands before the aggregators"},
        Case{"context rfBranch 1", "", aggregatorExpected},
        Case{"context rfBranch 1 2 list count 5", "2 list count 5",
             "found \"2\"; a context key with its number or an aggregator (min, max, average, sum, "
             "list) is expected here"},
        // Words
        Case{"summ count 5 10", "summ count 5 10", "found \"summ\"; did you mean \"sum\"?"},
        Case{"avg count 5 10", "avg count 5 10", "found \"avg\"; did you mean \"average\"?"},
        Case{"List count 5", "List count 5", "found \"List\"; did you mean \"list\"?"},
        Case{"tag CPU list count 5", "tag CPU list count 5",
             "found \"tag\"; did you mean \"tags\"?"},
        Case{
            "# list count 5", "# list count 5",
            "found \"#\"; \"tags\", \"context\" or an aggregator (min, max, average, sum, list) is "
            "expected here"},
        Case{"min count 4294967296 8", "", aggregatorExpected}));

TEST(Explainer, FindsNothingWrongWithGoodStatements) {
    for (const auto* statement :
         {"list count 5", "tags A_B C context rfBranch 1 max duration 60 3600",
          "min count 10 100 1000 max count 5 10", "context rfBranch 1 rfBranch -2 list count 1",
          "context rfBranch -2147483648 list duration 0010", "list count 4294967295"}) {
        const auto text = std::string(" ") + statement;
        EXPECT_FALSE(explain(text).fault) << text;
        EXPECT_THAT(explain(text).warnings, testing::IsEmpty()) << text;
        EXPECT_EQ(disagreement(text), "") << text;
    }
}

TEST(Explainer, NamesAllContextKeysWithAnUnknownOne) {
    const auto fault = explain(" context colour 1 list count 5").fault;
    ASSERT_TRUE(fault);
    for (const auto& key : contextKeys()) {
        EXPECT_THAT(fault->note, HasSubstr(key));
    }
    EXPECT_EQ(contextKeys().size(), 9U);
}

TEST(Explainer, FindsTextsThatTheParserDoesNotRead) {
    const auto longest = Qdx::Backend::CaptureStatement::maxTextSize;
    std::string text = " list count 0";
    text.insert(text.size() - 1, longest - text.size(), '0');
    EXPECT_FALSE(explain(text).fault);
    EXPECT_EQ(disagreement(text), "");
    text += '0';
    EXPECT_TRUE(explain(text).fault);
    EXPECT_EQ(disagreement(text), "");
}

TEST(Explainer, FindsTextsWithoutTheBlankInFront) {
    EXPECT_EQ(explain("list count 5").fault->text,
              "found \"list\"; every clause begins with a blank");
    EXPECT_TRUE(explain("").fault);
    EXPECT_TRUE(explain(" ").fault);
}

// --- warnings ------------------------------------------------------------------------------------

std::vector<std::string> warningsOf(const std::string& statement) {
    std::vector<std::string> texts;
    const auto text = ' ' + statement;
    EXPECT_FALSE(explain(text).fault) << statement;
    for (const auto& warning : explain(text).warnings) {
        texts.push_back(text.substr(warning.offset, warning.length) + ": " + warning.text);
    }
    return texts;
}

TEST(Explainer, WarnsOfNumbersThatTheParserLoses) {
    EXPECT_THAT(warningsOf("min count 10 100 99999999999 7 list count 1"),
                ElementsAre("99999999999: \"99999999999\" does not fit in 32 bits: the collector "
                            "reads the clause up to there"));
    EXPECT_THAT(warningsOf("min count 10 99999999999 list count 1"),
                ElementsAre(HasSubstr("and makes nothing of it")));
    EXPECT_THAT(warningsOf("min count 99999999999 10 list count 1"),
                ElementsAre(HasSubstr("and makes nothing of it")));
}

TEST(Explainer, WarnsOfWindowsOfNothing) {
    EXPECT_THAT(warningsOf("min count 0 0"), ElementsAre(HasSubstr("0: windows of 0 samples")));
    EXPECT_THAT(warningsOf("sum duration 0 0"), ElementsAre(HasSubstr("0: windows of 0 seconds")));
    EXPECT_THAT(warningsOf("min count 5 0"), ElementsAre(HasSubstr("has no room for a window")));
    EXPECT_THAT(warningsOf("min duration 5 0"), ElementsAre(HasSubstr("has no room for a window")));
    EXPECT_THAT(warningsOf("min count 1 0"), ElementsAre(HasSubstr("has no limit")));
    EXPECT_THAT(warningsOf("min duration 1 0"), ElementsAre(HasSubstr("has no room")));
}

TEST(Explainer, WarnsOfListsOfNothing) {
    EXPECT_THAT(warningsOf("list count 0"), ElementsAre(HasSubstr("has no limit")));
    EXPECT_THAT(warningsOf("list duration 0"), ElementsAre(HasSubstr("the newest moment")));
}

TEST(Explainer, WarnsOfAveragesThatOverflow) {
    EXPECT_THAT(warningsOf("average duration 2147484 2147484"), ElementsAre(HasSubstr("wrong")));
    EXPECT_THAT(warningsOf("average duration 2147483 2147483"), testing::IsEmpty());
    EXPECT_THAT(warningsOf("max duration 2147484 2147484"), testing::IsEmpty());
    EXPECT_THAT(warningsOf("average count 2147484 2147484"), testing::IsEmpty());
}

// --- agreement with the parser -------------------------------------------------------------------

class Statements {
public:
    explicit Statements(std::uint32_t seed) : random(seed) {}

    std::string good() {
        std::string text;
        if (chance(2)) {
            text += " tags";
            repeat(3, [&] { text += pick({" CPU", " NET", " A_B", " _"}); });
        }
        if (chance(3)) {
            text += " context";
            repeat(3, [&] {
                text += pick({" rfBranch", " carrierId"}) + pick({" 1", " -7", " 007"});
            });
        }
        repeat(4, [&] { text += aggregator(); });
        return text;
    }

    // A good one with a piece dropped, doubled, replaced or added.
    std::string mutated() {
        auto text = good();
        repeat(3, [&] { mutate(text); });
        return text;
    }

    std::string words() {
        std::string text;
        repeat(12, [&] { text += (chance(15) ? "" : " ") + word(); });
        return text;
    }

private:
    std::size_t below(std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
    }
    bool chance(std::size_t oneIn) { return below(oneIn) == 0; }
    std::string pick(const std::vector<std::string>& choices) {
        return choices[below(choices.size())];
    }

    template <typename Act>
    void repeat(std::size_t most, Act act) {
        for (auto times = 1 + below(most); times > 0; --times) {
            act();
        }
    }

    std::string aggregator() {
        if (chance(3)) {
            return pick({" list count ", " list duration "}) + pick({"0", "1", "60", "4294967295"});
        }
        auto text = pick({" min", " max", " average", " sum"}) + pick({" count", " duration"});
        auto number = below(20);
        text += ' ' + std::to_string(number);
        repeat(3, [&] { text += ' ' + std::to_string(number *= 1 + below(9)); });
        return text;
    }

    std::string word() {
        return pick({"tags",       "context", "min",      "max",        "average",     "sum",
                     "list",       "count",   "duration", "rfBranch",   "carrierId",   "colour",
                     "CPU",        "cpu",     "A_B",      "10",         "100",         "25",
                     "0",          "-3",      "-",        "4294967296", "99999999999", "2147483648",
                     "10x",        "",        "\t",       "\xC3\xA9",   "listcount",   "00100",
                     "min\tcount", "_",       "+5",       "5\n",        "rf_branch",   "tagsA"});
    }

    void mutate(std::string& text) {
        const auto at = below(text.size() + 1);
        const auto length = std::min(below(8), text.size() - at);
        switch (below(5)) {
            case 0:
                text.erase(at, length);
                break;
            case 1:
                text.insert(at, text.substr(at, length));
                break;
            case 2:
                text.insert(at, " " + word());
                break;
            case 3:
                text.insert(at, 1, pick({" ", "9", "x", "A", "-"}).front());
                break;
            default:
                text.replace(at, length, word());
        }
    }

    std::mt19937 random;
};

TEST(Explainer, FindsAFaultExactlyWhenTheParserRefuses) {
    constexpr std::uint32_t seed = 20261121;
    Statements statements(seed);
    std::size_t good = 0;
    for (int i = 0; i < 500; ++i) {
        for (const auto& text : {statements.good(), statements.mutated(), statements.words()}) {
            ASSERT_EQ(disagreement(text), "") << "seed " << seed << ": \"" << text << '"';
            good += explain(text).fault ? 0 : 1;
        }
    }
    // Both sides were met often.
    EXPECT_GT(good, 500U);
    EXPECT_LT(good, 1000U);
}

}  // namespace
}  // namespace DchFilter
