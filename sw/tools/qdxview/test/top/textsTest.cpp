#include "texts.hpp"

#include <gmock/gmock.h>

namespace Qdxview {
namespace {

using namespace std::chrono_literals;

TEST(TextsTest, BytesInTheUnitThatSuits) {
    EXPECT_EQ(bytesText(0), "0 B");
    EXPECT_EQ(bytesText(1023), "1023 B");
    EXPECT_EQ(bytesText(1024), "1 KiB");
    EXPECT_EQ(bytesText(2355), "2.3 KiB");
    EXPECT_EQ(bytesText(131'072), "128 KiB");
    EXPECT_EQ(bytesText(2'097'152), "2 MiB");
    EXPECT_EQ(bytesText(5'000'000'000'000), "4656 GiB");
}

TEST(TextsTest, SpansInTheUnitThatSuits) {
    EXPECT_EQ(spanText(0s), "0 s");
    EXPECT_EQ(spanText(59s), "59 s");
    EXPECT_EQ(spanText(60s), "1 min");
    EXPECT_EQ(spanText(3'599s), "59 min");
    EXPECT_EQ(spanText(47h), "47 h");
    EXPECT_EQ(spanText(50h), "2 d");
}

TEST(TextsTest, AgesAreNeverNegative) {
    EXPECT_EQ(ageText(WallTime(100s), WallTime(130s)), "30 s");
    EXPECT_EQ(ageText(WallTime(130s), WallTime(100s)), "0 s");
}

TEST(TextsTest, TimeOfDayAndPeriod) {
    EXPECT_EQ(clockText(WallTime(86'400s + 3'661s)), "01:01:01 UTC");
    EXPECT_EQ(periodText(2s), "2 s");
    EXPECT_EQ(periodText(500ms), "0.5 s");
}

TEST(TextsTest, CountsOneAndSeveral) {
    EXPECT_EQ(countText(1, "value", "values"), "1 value");
    EXPECT_EQ(countText(0, "value", "values"), "0 values");
}

}  // namespace
}  // namespace Qdxview
