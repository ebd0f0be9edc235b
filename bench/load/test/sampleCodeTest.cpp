// Values and records tell whose they are.
#include "sampleCode.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "plan.hpp"

namespace {

using namespace QdxLoad;

constexpr std::uint64_t seed = 7;

TEST(SampleCodeTest, ValuesAreDecodedAsTheyWereEncoded) {
    for (const std::uint64_t series : {std::uint64_t{0}, std::uint64_t{5}, mostSeries - 1}) {
        for (const std::uint64_t sequence : {std::uint64_t{0}, longestSequence - 1}) {
            const Code code{.series = series, .sequence = sequence};
            EXPECT_EQ(decode(encode(code)), code);
        }
    }
}

TEST(SampleCodeTest, ValuesOfASeriesIncrease) {
    EXPECT_LT(encode({.series = 3, .sequence = 4}), encode({.series = 3, .sequence = 5}));
}

TEST(SampleCodeTest, OtherNumbersAreNoCodes) {
    for (const std::int64_t value :
         {std::int64_t{0}, std::int64_t{1}, static_cast<std::int64_t>(longestSequence - 1),
          std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
        EXPECT_EQ(decode(value), std::nullopt) << value;
    }
}

std::vector<unsigned char> recordOf(std::size_t size, const Code& code) {
    std::vector<unsigned char> record(size);
    writeRecord(record, code, seed);
    return record;
}

TEST(SampleCodeTest, RecordsOfAnySizeCarryTheirCode) {
    const Code code{.series = 8, .sequence = 9};
    for (std::size_t size = smallestRecord; size < smallestRecord + 20; ++size) {
        EXPECT_EQ(readRecord(recordOf(size, code)), encode(code)) << size;
    }
}

TEST(SampleCodeTest, AChangedByteOfARecordIsFound) {
    const auto whole = recordOf(37, {.series = 8, .sequence = 9});
    for (std::size_t i = 0; i < whole.size(); ++i) {
        auto record = whole;
        record[i] ^= 1;
        EXPECT_EQ(readRecord(record), std::nullopt) << i;
    }
}

TEST(SampleCodeTest, ACutRecordIsFound) {
    const auto whole = recordOf(37, {.series = 8, .sequence = 9});
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(readRecord(std::span(whole).first(size)), std::nullopt) << size;
    }
}

TEST(SampleCodeTest, RecordsHaveDifferentBytes) {
    const auto first = recordOf(40, {.series = 8, .sequence = 9});
    const auto second = recordOf(40, {.series = 8, .sequence = 10});
    EXPECT_NE(std::vector(first.begin() + 8, first.begin() + 32),
              std::vector(second.begin() + 8, second.begin() + 32));
}

}  // namespace
