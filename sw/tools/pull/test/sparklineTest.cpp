#include "sparkline.hpp"

#include <gmock/gmock.h>

#include <limits>

namespace Qdx::Pull {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
constexpr auto highest = std::numeric_limits<std::int64_t>::max();

TEST(Means, KeepsValuesThatFit) {
    EXPECT_THAT(means({3, 1, 2}, 3), ElementsAre(3, 1, 2));
    EXPECT_THAT(means({3, 1, 2}, 10), ElementsAre(3, 1, 2));
}

TEST(Means, AveragesNeighbours) {
    EXPECT_THAT(means({1, 3, 10, 20}, 2), ElementsAre(2, 15));
}

TEST(Means, GivesTheFirstGroupsTheRemainder) {
    EXPECT_THAT(means({1, 2, 3, 4, 5}, 2), ElementsAre(2, 4.5));
}

TEST(Means, AreNoneOfNothing) {
    EXPECT_THAT(means({}, 5), IsEmpty());
    EXPECT_THAT(means({1, 2}, 0), IsEmpty());
}

TEST(Means, TakesSumsPastTheRangeOfTheValues) {
    EXPECT_THAT(means({highest, highest}, 1), ElementsAre(9223372036854775808.0));
}

TEST(Steps, SpreadFromTheSmallestToTheLargest) {
    EXPECT_THAT(steps({0, 1, 2, 3}, 4), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(steps({100, -100, 0}, 2), ElementsAre(1, 0, 1));
}

TEST(Steps, AreAllZeroOfEqualValues) {
    EXPECT_THAT(steps({5, 5, 5}, 8), ElementsAre(0, 0, 0));
}

TEST(Steps, HoldTheWholeRangeOfValues) {
    EXPECT_THAT(steps({static_cast<double>(lowest), 0, static_cast<double>(highest)}, 8),
                ElementsAre(0, 4, 7));
}

TEST(Sparkline, DrawsOneBlockForEachValue) {
    EXPECT_EQ(sparkline({0, 1, 2, 3, 4, 5, 6, 7}, 8, Glyphs::Unicode), "▁▂▃▄▅▆▇█");
    EXPECT_EQ(sparkline({7, 0, 7}, 8, Glyphs::Unicode), "█▁█");
}

TEST(Sparkline, DrawsWithAsciiAlone) {
    EXPECT_EQ(sparkline({0, 1, 2, 3, 4, 5, 6, 7}, 8, Glyphs::Ascii), "_.-~+*%#");
}

TEST(Sparkline, StaysWithinItsWidth) {
    EXPECT_EQ(columns(sparkline(std::vector<std::int64_t>(1000, 1), 16, Glyphs::Unicode)), 16U);
}

TEST(Sparkline, IsEmptyWithoutValuesOrWidth) {
    EXPECT_EQ(sparkline({}, 8, Glyphs::Unicode), "");
    EXPECT_EQ(sparkline({1, 2}, 0, Glyphs::Unicode), "");
}

TEST(Sparkline, DrawsTheExtremesOfAllValues) {
    EXPECT_EQ(sparkline({lowest, highest}, 8, Glyphs::Unicode), "▁█");
}

}  // namespace
}  // namespace Qdx::Pull
