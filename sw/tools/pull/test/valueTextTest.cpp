#include "valueText.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace Qdx::Pull {
namespace {

constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
constexpr auto highest = std::numeric_limits<std::int64_t>::max();

TEST(Scale, MultipliesByTheResolution) {
    EXPECT_EQ(Scale("0.01").text(1234), "12.34");
    EXPECT_EQ(Scale("0.001").text(-5), "-0.005");
    EXPECT_EQ(Scale("1024").text(3), "3072");
    EXPECT_EQ(Scale("2.5").text(3), "7.5");
}

TEST(Scale, ShowsAsManyDecimalsAsTheResolutionHas) {
    EXPECT_EQ(Scale("0.1").text(10), "1.0");
    EXPECT_EQ(Scale("0.25").text(2), "0.50");
    EXPECT_EQ(Scale("1e-6").text(7), "0.000007");
}

TEST(Scale, ShowsNoMoreThanNineDecimals) {
    EXPECT_EQ(Scale("0.3333333333333").text(1), "0.333333333");
    EXPECT_EQ(Scale("1e-12").text(5), "0.000000000");
}

TEST(Scale, LeavesEveryDigitOfAWholeValue) {
    EXPECT_EQ(Scale("1").text(highest), "9223372036854775807");
    EXPECT_EQ(Scale("1.0").text(lowest), "-9223372036854775808");
}

TEST(Scale, LeavesValuesAloneWithoutAUsableResolution) {
    for (const std::string resolution : {"", "abc", "0", "-1", "nan", "inf", "1e999"}) {
        EXPECT_EQ(Scale(resolution).text(42), "42") << resolution;
    }
}

TEST(Scale, KeepsHugeValuesShort) {
    EXPECT_EQ(Scale("1e300").text(5), "5e+300");
    EXPECT_EQ(Scale("1e300").text(highest), "inf");
    EXPECT_EQ(Scale("0.5").text(highest), "4.61169e+18");
}

TEST(ExactText, IsTheTextWhereTheDecimalsTellTheValue) {
    EXPECT_EQ(Scale("0.01").exactText(1234), "12.34");
    EXPECT_EQ(Scale("0.1").exactText(3), "0.3");
    EXPECT_EQ(Scale("1024").exactText(-3), "-3072");
    EXPECT_EQ(Scale("nan").exactText(lowest), "-9223372036854775808");
}

TEST(ExactText, TakesAsManyDigitsAsTheValueNeeds) {
    EXPECT_EQ(Scale("1e-12").exactText(5), "5e-12");
    EXPECT_EQ(Scale("0.3333333333333").exactText(1), "0.3333333333333");
    EXPECT_EQ(Scale("0.5").exactText(highest), "4611686018427387904");
}

TEST(ExactText, IsEmptyPastTheRangeOfDoubles) {
    EXPECT_EQ(Scale("1e300").exactText(highest), "");
}

TEST(IsoTimeText, ReadsAsUtc) {
    EXPECT_EQ(isoTimeText(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(isoTimeText(253'402'300'799), "9999-12-31T23:59:59Z");
}

TEST(IsoTimeText, IsTheNumberWhereNoYearFits) {
    EXPECT_EQ(isoTimeText(253'402'300'800), "253402300800");
    EXPECT_EQ(isoTimeText(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(TimeText, ReadsAsUtc) {
    EXPECT_EQ(timeText(0), "1970-01-01 00:00:00");
    EXPECT_EQ(timeText(1'714'557'600), "2024-05-01 10:00:00");
    EXPECT_EQ(timeText(253'402'300'799), "9999-12-31 23:59:59");
}

TEST(TimeText, IsTheNumberWhereNoYearFits) {
    EXPECT_EQ(timeText(253'402'300'800), "253402300800");
    EXPECT_EQ(timeText(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(TimeSpanText, TellsTheDateOnceForOneDay) {
    EXPECT_EQ(timeSpanText({1'714'557'600, 1'714'557'610}), "2024-05-01 10:00:00 to 10:00:10");
}

TEST(TimeSpanText, TellsBothDatesAcrossMidnight) {
    EXPECT_EQ(timeSpanText({0, 86'400}), "1970-01-01 00:00:00 to 1970-01-02 00:00:00");
}

TEST(TimeSpanText, TellsNumbersWhereNoYearFits) {
    EXPECT_EQ(timeSpanText({253'402'300'800, 253'402'300'801}), "253402300800 to 253402300801");
    EXPECT_EQ(timeSpanText({0, 253'402'300'800}), "1970-01-01 00:00:00 to 253402300800");
}

TEST(NewestText, ShowsTheNewestFirst) {
    Series series;
    series.numbers = {1, 2, 3, 4};
    EXPECT_EQ(newestText(series, Scale("0.1"), "dBm", 3), "0.4 0.3 0.2 dBm");
    EXPECT_EQ(newestText(series, Scale(""), "", 1), "4");
}

TEST(NewestText, ShowsAllOfFew) {
    Series series;
    series.numbers = {1, 2};
    EXPECT_EQ(newestText(series, Scale(""), "W", 3), "2 1 W");
}

TEST(NewestText, ShowsNoUnitWithoutValues) {
    EXPECT_EQ(newestText({}, Scale(""), "W", 3), "");
}

TEST(NewestText, LeavesRecordsAlone) {
    Series series;
    series.records = {"a", "bc"};
    EXPECT_EQ(newestText(series, Scale("0.1"), "W", 3), "");
}

}  // namespace
}  // namespace Qdx::Pull
