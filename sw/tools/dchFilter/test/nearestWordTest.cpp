#include "nearestWord.hpp"

#include <gtest/gtest.h>

namespace DchFilter {
namespace {

const std::vector<std::string> known{"min", "max", "average", "sum", "rfBranch"};

TEST(NearestWord, FindsWordsWithASlip) {
    EXPECT_EQ(nearestWord("summ", known), "sum");        // inserted
    EXPECT_EQ(nearestWord("averge", known), "average");  // dropped
    EXPECT_EQ(nearestWord("mox", known), "max");         // replaced
    EXPECT_EQ(nearestWord("usm", known), "sum");         // swapped
}

TEST(NearestWord, TakesNoNoticeOfCase) {
    EXPECT_EQ(nearestWord("RFBRANCH", known), "rfBranch");
}

TEST(NearestWord, GivesTheFirstOfEquals) {
    EXPECT_EQ(nearestWord("mix", known), "min");
}

TEST(NearestWord, FindsNothingForOtherWords) {
    EXPECT_EQ(nearestWord("colour", known), "");
    EXPECT_EQ(nearestWord("", known), "");
    EXPECT_EQ(nearestWord(std::string(100000, 'm'), known), "");
}

}  // namespace
}  // namespace DchFilter
