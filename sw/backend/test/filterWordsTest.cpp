#include "filterWords.hpp"

#include <gmock/gmock.h>

namespace Qdx::Backend {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> wordsOf(std::string_view listing) {
    std::vector<std::string> words;
    addFilterWords(listing, words);
    return words;
}

TEST(FilterWordsTest, AreNameAndNumberOfEachFilter) {
    EXPECT_THAT(wordsOf("Current Filter(s):\n"
                        " Filter cpu:load (3): Enabled: Yes, FilterTag(s): CPU, NET\n"
                        " Filter \xC3\xA9t\xC3\xA9 (4): Enabled: No, FilterTag(s):\n"),
                ElementsAre("cpu:load", "3", "\xC3\xA9t\xC3\xA9", "4"));
}

TEST(FilterWordsTest, NameAFilterOnceThatIsNamedAfterItsNumber) {
    EXPECT_THAT(wordsOf(" Filter 11 (11): Enabled: Yes, FilterTag(s):\n"), ElementsAre("11"));
}

TEST(FilterWordsTest, LeaveOutWhatIsListedBelowAFilter) {
    EXPECT_THAT(wordsOf("Current Filter(s):\n"
                        " Filter a (1): Enabled: Yes, FilterTag(s):\n"
                        "  name (tags)\n"
                        "  cpu:load (CPU)\n"
                        "\n"),
                ElementsAre("a", "1"));
}

TEST(FilterWordsTest, AreTakenFromTheLastPairOfBracketsBeforeTheState) {
    EXPECT_THAT(wordsOf(" Filter a(1)b (2): Enabled: No, FilterTag(s): X (3): Enabled: Y\n"),
                ElementsAre("a(1)b", "2"));
}

TEST(FilterWordsTest, LeaveOutANameThatCannotBeTypedAsOneWord) {
    EXPECT_THAT(wordsOf(" Filter two words (1): Enabled: No, FilterTag(s):\n"
                        " Filter \x1B[2J (2): Enabled: No, FilterTag(s):\n"
                        " Filter  (3): Enabled: No, FilterTag(s):\n"),
                ElementsAre("1", "2", "3"));
}

TEST(FilterWordsTest, AreNoneWithoutFilters) {
    EXPECT_THAT(wordsOf(""), IsEmpty());
    EXPECT_THAT(wordsOf("No filters found\n"), IsEmpty());
    EXPECT_THAT(wordsOf(" Filter \n (1): Enabled: \n Filter (1): Enabled: \n"
                        " Filter a): Enabled: "),
                IsEmpty());
}

}  // namespace
}  // namespace Qdx::Backend
