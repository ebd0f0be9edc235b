#include "numbers.hpp"

#include <gmock/gmock.h>

namespace Dch {
namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;

const Words create{"dch", "fs", "create", "limit", "0"};
const Words commit{"dch", "fs", "commit", "3"};

class NumbersTest : public testing::Test {
protected:
    Words replaced(const Words& words) { return numbers.replace(words); }

    Numbers numbers;
};

TEST_F(NumbersTest, StandForWhatTheLatestCommandsAnswered) {
    numbers.learn(create, "Created transaction: 3\n");
    numbers.learn(commit, "Filter ID is: 11\n");
    EXPECT_THAT(replaced({"fs", "commit", "$transaction"}), ElementsAre("fs", "commit", "3"));
    EXPECT_THAT(replaced({"$filter", "$transaction", "$filter"}), ElementsAre("11", "3", "11"));
    numbers.learn(create, "Created transaction: 4\n");
    EXPECT_THAT(replaced({"$transaction", "$filter"}), ElementsAre("4", "11"));
}

TEST_F(NumbersTest, AreRefusedBeforeThereAreAny) {
    EXPECT_THAT(
        [&] {
            replaced({"fs", "commit", "$transaction"});
        },
        ThrowsMessage<NoNumber>("there is no $transaction yet; a 'dch fs create' that "
                                "succeeds gives it"));
    EXPECT_THAT(
        [&] {
            replaced({"filter", "enable", "$filter"});
        },
        ThrowsMessage<NoNumber>(
            "there is no $filter yet; a 'dch fs commit' that succeeds gives it"));
}

TEST_F(NumbersTest, OfAStepThatFailedAreNotThoseOfAnEarlierOne) {
    numbers.learn(create, "Created transaction: 3\n");
    numbers.learn(commit, "Filter ID is: 11\n");
    numbers.learn(create, "Failed to execute command\n");
    EXPECT_THROW(replaced({"$transaction"}), NoNumber);
    EXPECT_THAT(replaced({"$filter"}), ElementsAre("11"));
    numbers.learn(commit, "");
    EXPECT_THROW(replaced({"$filter"}), NoNumber);
}

TEST_F(NumbersTest, ComeFromTheCommandsThatGiveThemAlone) {
    numbers.learn({"dch", "filter", "status"}, "Created transaction: 3\n");
    numbers.learn({"rodc", "fs", "create"}, "Created transaction: 3\n");
    numbers.learn({"dch", "fs"}, "Created transaction: 3\n");
    numbers.learn({"dch", "fs", "commit"}, "Created transaction: 3\n");
    EXPECT_THROW(replaced({"$transaction"}), NoNumber);
}

TEST_F(NumbersTest, AreTakenFromWholeAnswersOnly) {
    for (const auto* answer : {"Created transaction: 3", "Created transaction: \n",
                               "Created transaction: 3x\n", "xCreated transaction: 3\n"}) {
        numbers.learn(create, answer);
        EXPECT_THROW(replaced({"$transaction"}), NoNumber) << answer;
    }
    numbers.learn(create, "Created transaction: 4294967295\n");
    EXPECT_THAT(replaced({"$transaction"}), ElementsAre("4294967295"));
}

TEST_F(NumbersTest, LeaveOtherWordsWithADollarAlone) {
    const Words words{"$", "$x", "$transactions", "x$filter", "$FILTER"};
    EXPECT_EQ(replaced(words), words);
}

TEST_F(NumbersTest, FitIntoTheLongestAnswer) {
    const std::string longest = "Created transaction: 4294967295\n";
    EXPECT_LE(longest.size(), Numbers::longestAnswer);
    EXPECT_LE(std::string("Filter ID is: 9223372036854775807\n").size(), Numbers::longestAnswer);
}

}  // namespace
}  // namespace Dch
