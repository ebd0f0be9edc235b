#include "listAggregators.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <limits>
#include <random>
#include <stdexcept>

#include "countingMemoryResource.hpp"
#include "memoryFaults.hpp"
#include "series.hpp"

namespace Qdx::Backend {
namespace {

using namespace std::chrono_literals;
using AggregatorParams::CountList;
using AggregatorParams::DurationList;
using Qdx::Test::DefaultResourceScope;
using Qdx::Test::FailingResource;
using Qdx::Test::Nanoseconds;
using Qdx::Test::Point;
using Qdx::Test::record;
using Qdx::Test::RecordingEncoder;
using Qdx::Test::RecordPoint;
using Qdx::Test::Series;
using Qdx::Test::sweepAllocations;
using Qdx::Test::textOf;
using Qdx::V1::CounterData;
using Qdx::V1::MeasurementData;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

template <typename T>
using CountSeries = Series<CountListAggregator<T>, T>;
template <typename T>
using DurationSeries = Series<DurationListAggregator<T>, T>;

constexpr auto sampleSize = sizeof(std::pair<time_point, MeasurementData>);
constexpr auto recordSize = sizeof(std::pair<time_point, RecordData>);
const std::string rangeText =
    "vector::_M_range_check: __n (which is 0) >= this->size() (which is 0)";

CountingMemoryResource budget(unsigned long bytes) {
    return {std::pmr::new_delete_resource(), "content", std::make_shared<unsigned long>(bytes)};
}

time_point at(Nanoseconds time) {
    return time_point(time);
}

// Nothing here may allocate outside the content resource.
class ListAggregators : public testing::Test {
    DefaultResourceScope noDefault{std::pmr::null_memory_resource()};
};

TEST_F(ListAggregators, HoldTheirSamplesAndNoMore) {
    struct CountExpected : Aggregator {
        Samples<RecordData> samples;
    };
    struct DurationExpected : Aggregator {
        time_point creationTime;
        Samples<RecordData> samples;
    };
    EXPECT_EQ(sizeof(CountListAggregator<RecordData>), sizeof(CountExpected));
    EXPECT_EQ(sizeof(DurationListAggregator<RecordData>), sizeof(DurationExpected));
}

TEST_F(ListAggregators, TellTheOutputFormatsNumberOfLists) {
    EXPECT_EQ(CountSeries<MeasurementData>(CountList{1}, 0s, {1}).get().getGpbAggrType(), 4);
    EXPECT_EQ(CountSeries<CounterData>(CountList{1}, 0s, {1}).get().getGpbAggrType(), 4);
    EXPECT_EQ(CountSeries<RecordData>(CountList{1}, 0s, record("r")).get().getGpbAggrType(), 4);
    EXPECT_EQ(DurationSeries<MeasurementData>(DurationList{1s}, 0s, {1}).get().getGpbAggrType(), 4);
    EXPECT_EQ(DurationSeries<CounterData>(DurationList{1s}, 0s, {1}).get().getGpbAggrType(), 4);
    EXPECT_EQ(DurationSeries<RecordData>(DurationList{1s}, 0s, record("r")).get().getGpbAggrType(),
              4);
}

TEST_F(ListAggregators, CountListKeepsTheNewestWithTheirTimes) {
    CountSeries<MeasurementData> series(CountList{3}, 1s, {1});
    for (int i = 2; i <= 5; ++i)
        series.feed(i * 1s, {i});
    EXPECT_THAT(series.pull(), ElementsAre(Point{3s, 3}, Point{4s, 4}, Point{5s, 5}));
}

TEST_F(ListAggregators, CountListOfRecordsKeepsTheNewestWithTheirTimes) {
    CountSeries<RecordData> series(CountList{2}, 1s, record("one"));
    series.feed(2s, record(""));
    series.feed(3s, record(std::string(1000, 'x')));
    EXPECT_THAT(series.pull(),
                ElementsAre(RecordPoint{2s, ""}, RecordPoint{3s, std::string(1000, 'x')}));
}

TEST_F(ListAggregators, CountListOfOneCostsOneOverwrite) {
    auto content = budget(sampleSize);
    CountSeries<CounterData> series(CountList{1}, 1s, {1}, &content);
    series.feed(2s, {2});
    series.feed(3s, {3});
    EXPECT_THAT(series.pull(), ElementsAre(Point{3s, 3}));
    EXPECT_EQ(content.getNumFailures(), 0U);
}

TEST_F(ListAggregators, FullCountListAllocatesNothing) {
    auto content = budget(1000);
    CountSeries<MeasurementData> series(CountList{4}, 1s, {1}, &content);
    for (int i = 2; i <= 4; ++i)
        series.feed(i * 1s, {i});
    content.setRemainingSize(0);
    for (int i = 5; i <= 50; ++i)
        series.feed(i * 1s, {i});
    EXPECT_EQ(content.getNumFailures(), 0U);
    EXPECT_THAT(series.pull(),
                ElementsAre(Point{47s, 47}, Point{48s, 48}, Point{49s, 49}, Point{50s, 50}));
}

TEST_F(ListAggregators, CountListIgnoresTheTimeOfAPull) {
    CountSeries<MeasurementData> series(CountList{3}, 1s, {1});
    EXPECT_THAT(series.pull(1'000'000s), ElementsAre(Point{1s, 1}));
}

TEST_F(ListAggregators, CountListOfNoneGrowsUntilMemoryRunsOut) {
    // Room for 2 samples while the buffer of 1 moves into that of 2, and no more.
    auto content = budget(3 * sampleSize);
    CountSeries<MeasurementData> series(CountList{0}, 1s, {1}, &content);
    for (int i = 2; i <= 4; ++i)
        series.feed(i * 1s, {i});
    EXPECT_THAT(series.pull(), ElementsAre(Point{3s, 3}, Point{4s, 4}));
    EXPECT_EQ(content.getNumFailures(), 2U);
}

TEST_F(ListAggregators, ClearedCountListOfNoneThrows) {
    CountSeries<MeasurementData> numbers(CountList{0}, 1s, {1});
    CountSeries<RecordData> records(CountList{0}, 1s, record("r"));
    numbers.clear();
    records.clear();
    EXPECT_EQ(textOf<std::out_of_range>([&] { numbers.feed(2s, {2}); }), rangeText);
    EXPECT_EQ(textOf<std::out_of_range>([&] { records.feed(2s, record("s")); }), rangeText);
    EXPECT_THAT(numbers.pull(), IsEmpty());
}

TEST_F(ListAggregators, DurationListKeepsASampleExactlyOnePeriodOld) {
    DurationSeries<MeasurementData> series(DurationList{10s}, 0s, {1});
    EXPECT_THAT(series.pull(10s), ElementsAre(Point{0s, 1}));
    EXPECT_THAT(series.pull(10s + 1ns), IsEmpty());
}

TEST_F(ListAggregators, DurationListDropsExpiredSamplesAtAFeed) {
    DurationSeries<CounterData> series(DurationList{10s}, 0s, {1});
    series.feed(5s, {2});
    series.feed(11s, {3});
    // Pulled with an earlier time: what the feed dropped is gone.
    EXPECT_THAT(series.pull(0s), ElementsAre(Point{5s, 2}, Point{11s, 3}));
}

TEST_F(ListAggregators, ExpiredDurationListAddsNothingAndGoesOn) {
    DurationSeries<RecordData> series(DurationList{10s}, 0s, record("old"));
    RecordingEncoder encoder;
    series.pull(encoder, 11s);
    EXPECT_TRUE(encoder.empty());
    series.feed(12s, record("new"));
    EXPECT_THAT(series.pull(12s), ElementsAre(RecordPoint{12s, "new"}));
}

TEST_F(ListAggregators, DurationListTestsEverySampleAndKeepsTheOrderOfArrival) {
    DurationSeries<MeasurementData> series(DurationList{10s}, 20s, {1});
    series.feed(12s, {2});
    series.feed(21s, {3});
    series.feed(11s, {4});
    EXPECT_THAT(series.pull(22s), ElementsAre(Point{20s, 1}, Point{12s, 2}, Point{21s, 3}));
}

TEST_F(ListAggregators, DurationListOfZeroSecondsKeepsThePresent) {
    DurationSeries<MeasurementData> series(DurationList{0s}, 5s, {1});
    series.feed(5s, {2});
    EXPECT_THAT(series.pull(5s), ElementsAre(Point{5s, 1}, Point{5s, 2}));
    EXPECT_THAT(series.pull(5s + 1ns), IsEmpty());
}

TEST_F(ListAggregators, DurationListHoldsNoSpareCapacityAfterAPull) {
    auto content = budget(10'000);
    DurationSeries<MeasurementData> series(DurationList{10s}, 0s, {1}, &content);
    series.feed(1s, {2});
    series.feed(2s, {3});
    // The buffer of 2 doubled for the third; the pull takes the fourth place back.
    EXPECT_EQ(content.getAllocatedSize(), 4 * sampleSize);
    series.pull(2s);
    EXPECT_EQ(content.getAllocatedSize(), 3 * sampleSize);
    series.feed(11s, {4});
    EXPECT_EQ(content.getAllocatedSize(), 4 * sampleSize);
    series.pull(12s);
    EXPECT_EQ(content.getAllocatedSize(), 2 * sampleSize);
}

TEST_F(ListAggregators, DurationListHasNoLimitButMemory) {
    DurationSeries<MeasurementData> series(DurationList{10s}, 0s, {0});
    for (int i = 1; i < 2000; ++i)
        series.feed(i * 1ms, {i});
    EXPECT_EQ(series.pull(2s).size(), 2000U);
}

TEST_F(ListAggregators, FailureToShrinkIsIgnored) {
    auto content = budget(6 * sampleSize);
    DurationSeries<MeasurementData> series(DurationList{10s}, 0s, {1}, &content);
    series.feed(1s, {2});
    series.feed(2s, {3});
    ASSERT_EQ(content.getRemainingSize(), 2 * sampleSize);
    EXPECT_THAT(series.pull(2s), ElementsAre(Point{0s, 1}, Point{1s, 2}, Point{2s, 3}));
    EXPECT_EQ(content.getNumFailures(), 1U);
    EXPECT_EQ(content.getAllocatedSize(), 4 * sampleSize);
}

TEST_F(ListAggregators, ConstructorKeepsTheFirstSampleWhateverTheParameters) {
    EXPECT_THAT(CountSeries<MeasurementData>(CountList{0}, 1s, {1}).pull(),
                ElementsAre(Point{1s, 1}));
    EXPECT_THAT(DurationSeries<MeasurementData>(DurationList{0s}, 1s, {1}).pull(1s),
                ElementsAre(Point{1s, 1}));
}

TEST_F(ListAggregators, ConstructorPassesARefusalOn) {
    auto content = budget(recordSize + 2);
    EXPECT_THROW(CountSeries<RecordData>(CountList{1}, 1s, record("abc"), &content),
                 std::bad_alloc);
    EXPECT_THROW(DurationSeries<RecordData>(DurationList{1s}, 1s, record("abc"), &content),
                 std::bad_alloc);
    EXPECT_EQ(content.getRemainingSize(), recordSize + 2);
}

TEST_F(ListAggregators, PullTwiceGivesTheSame) {
    CountSeries<RecordData> count(CountList{2}, 1s, record("r"));
    DurationSeries<RecordData> duration(DurationList{10s}, 1s, record("r"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(count.pull(2s), ElementsAre(RecordPoint{1s, "r"}));
        EXPECT_THAT(duration.pull(2s), ElementsAre(RecordPoint{1s, "r"}));
    }
}

TEST_F(ListAggregators, ClearGivesAllMemoryBack) {
    auto content = budget(1000);
    CountSeries<RecordData> count(CountList{2}, 1s, record("abc"), &content);
    DurationSeries<RecordData> duration(DurationList{10s}, 1s, record("abc"), &content);
    EXPECT_EQ(content.getAllocatedSize(), 2 * (recordSize + 3));
    count.clear(1s);
    duration.clear(1s);
    EXPECT_EQ(content.getAllocatedSize(), 0U);
    EXPECT_THAT(count.pull(), IsEmpty());
    EXPECT_THAT(duration.pull(1s), IsEmpty());
    count.feed(2s, record("d"));
    EXPECT_THAT(count.pull(), ElementsAre(RecordPoint{2s, "d"}));
}

TEST_F(ListAggregators, RecordsStandOnTheContentResource) {
    auto content = budget(1000);
    const CountSeries<RecordData> series(CountList{2}, 1s, record(std::string(100, 'x')), &content);
    EXPECT_EQ(content.getAllocatedSize(), recordSize + 100);
}

TEST_F(ListAggregators, RefuseOtherKindsOfSamples) {
    CountSeries<MeasurementData> count(CountList{2}, 1s, {1});
    DurationSeries<RecordData> duration(DurationList{10s}, 1s, record("r"));
    EXPECT_THROW(count.get().feedValue({}, {}, CounterData{1}), std::runtime_error);
    EXPECT_THROW(count.get().feedValue({}, {}, record("r")), std::runtime_error);
    EXPECT_THROW(duration.get().feedValue({}, {}, MeasurementData{1}), std::runtime_error);
}

TEST_F(ListAggregators, RefuseParametersOfOtherAggregators) {
    CountSeries<MeasurementData> count(CountList{2}, 1s, {1});
    DurationSeries<MeasurementData> duration(DurationList{10s}, 1s, {1});
    const std::string text = "std::get: wrong index for variant";
    EXPECT_EQ(textOf<std::bad_variant_access>(
                  [&] { count.get().feedValue(DurationList{1s}, {}, MeasurementData{1}); }),
              text);
    EXPECT_EQ(textOf<std::bad_variant_access>(
                  [&] { duration.get().feedValue(CountList{1}, {}, MeasurementData{1}); }),
              text);
}

template <typename SeriesType>
std::string describe(SeriesType series) {
    RecordingEncoder encoder;
    series.pull(encoder, 1s);
    return encoder.collections().ShortDebugString();
}

TEST_F(ListAggregators, PullSaysHowItWasAggregated) {
    const std::string numbers = " { id: 7 values: 5 timestamps: 1000000000 list ";
    const std::string records =
        "recordCollections { id: 7 values: \"r\" timestamps: 1000000000 list ";
    const std::string count = "{ subtype: COUNT size: 3 } }";
    const std::string duration = "{ subtype: DURATION size: 10 } }";
    EXPECT_EQ(describe(CountSeries<MeasurementData>(CountList{3}, 1s, {5})),
              "measurementCollections" + numbers + count);
    EXPECT_EQ(describe(CountSeries<CounterData>(CountList{3}, 1s, {5})),
              "counterCollections" + numbers + count);
    EXPECT_EQ(describe(CountSeries<RecordData>(CountList{3}, 1s, record("r"))), records + count);
    EXPECT_EQ(describe(DurationSeries<MeasurementData>(DurationList{10s}, 1s, {5})),
              "measurementCollections" + numbers + duration);
    EXPECT_EQ(describe(DurationSeries<CounterData>(DurationList{10s}, 1s, {5})),
              "counterCollections" + numbers + duration);
    EXPECT_EQ(describe(DurationSeries<RecordData>(DurationList{10s}, 1s, record("r"))),
              records + duration);
}

TEST_F(ListAggregators, SizeTakesTheLowBitsOfALongPeriod) {
    const DurationList params{std::chrono::seconds(4'294'967'296 + 5)};
    EXPECT_THAT(describe(DurationSeries<MeasurementData>(params, 1s, {5})),
                testing::HasSubstr("list { subtype: DURATION size: 5 }"));
}

TEST_F(ListAggregators, TakeNoCollectionForAnAnswer) {
    RecordingEncoder encoder;
    encoder.refuse();
    CountSeries<MeasurementData>(CountList{3}, 1s, {5}).pull(encoder);
    DurationSeries<RecordData>(DurationList{3s}, 1s, record("r")).pull(encoder, 1s);
    EXPECT_TRUE(encoder.empty());
}

TEST_F(ListAggregators, RefusedGrowthGivesUpTheOldestSample) {
    auto content = budget(3 * sampleSize);
    CountSeries<MeasurementData> count(CountList{10}, 1s, {1}, &content);
    count.feed(2s, {2});
    count.feed(3s, {3});
    EXPECT_THAT(count.pull(), ElementsAre(Point{2s, 2}, Point{3s, 3}));
    auto other = budget(3 * sampleSize);
    DurationSeries<MeasurementData> duration(DurationList{10s}, 1s, {1}, &other);
    duration.feed(2s, {2});
    duration.feed(3s, {3});
    EXPECT_THAT(duration.pull(3s), ElementsAre(Point{2s, 2}, Point{3s, 3}));
}

TEST_F(ListAggregators, SampleIsLostWithoutAnyMemory) {
    auto content = budget(1000);
    CountSeries<RecordData> count(CountList{10}, 1s, record("r"), &content);
    DurationSeries<RecordData> duration(DurationList{1s}, 1s, record("r"), &content);
    count.clear();
    content.setRemainingSize(1);
    count.feed(2s, record("s"));
    EXPECT_THAT(count.pull(), IsEmpty());
    content.setRemainingSize(0);
    duration.clear(2s);
    content.setRemainingSize(recordSize);
    duration.feed(3s, record("s"));
    EXPECT_THAT(duration.pull(3s), IsEmpty());
}

TEST_F(ListAggregators, ExtremeTimesWrap) {
    const auto earliest = Nanoseconds::min();
    const auto latest = Nanoseconds::max();
    DurationSeries<MeasurementData> series(DurationList{1s}, earliest, {1});
    // From the earliest to the latest time are -1 ns.
    EXPECT_THAT(series.pull(latest), ElementsAre(Point{earliest, 1}));
    EXPECT_THAT(series.pull(latest - 2s), ElementsAre(Point{earliest, 1}));
    EXPECT_THAT(series.pull(0s), ElementsAre(Point{earliest, 1}));
    EXPECT_THAT(series.pull(-1ns), IsEmpty());
}

TEST_F(ListAggregators, PeriodTooLongForNanosecondsWraps) {
    // 2^55 s are a multiple of 2^64 ns.
    DurationSeries<MeasurementData> series(DurationList{std::chrono::seconds(1LL << 55)}, 1s, {1});
    EXPECT_THAT(series.pull(1s), ElementsAre(Point{1s, 1}));
    EXPECT_THAT(series.pull(1s + 1ns), IsEmpty());
}

TEST_F(ListAggregators, CountListAgreesWithItsModel) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const auto size = 1 + random() % 8;
        CountSeries<MeasurementData> numbers(CountList{static_cast<std::uint32_t>(size)}, 0s, {0});
        CountSeries<RecordData> records(CountList{static_cast<std::uint32_t>(size)}, 0s,
                                        record(""));
        std::deque<Point> newest{{0s, 0}};
        std::deque<RecordPoint> newestRecords{{0s, ""}};
        for (int step = 1; step < 60; ++step) {
            if (random() % 15 == 0) {
                numbers.clear();
                records.clear();
                newest.clear();
                newestRecords.clear();
            }
            const std::string bytes(random() % 50, static_cast<char>('a' + step % 26));
            numbers.feed(step * 1s, {step});
            records.feed(step * 1s, record(bytes));
            newest.push_back({step * 1s, step});
            newestRecords.push_back({step * 1s, bytes});
            if (newest.size() > size) {
                newest.pop_front();
                newestRecords.pop_front();
            }
            ASSERT_THAT(numbers.pull(), ElementsAreArray(newest));
            ASSERT_THAT(records.pull(), ElementsAreArray(newestRecords));
        }
    }
}

TEST_F(ListAggregators, DurationListAgreesWithItsModel) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const auto period = std::chrono::seconds(random() % 5);
        DurationSeries<MeasurementData> numbers(DurationList{period}, 100s, {0});
        DurationSeries<RecordData> records(DurationList{period}, 100s, record(""));
        std::deque<Point> newest{{100s, 0}};
        std::deque<RecordPoint> newestRecords{{100s, ""}};
        Nanoseconds now = 100s;
        for (int step = 1; step < 60; ++step) {
            // Mostly forward, sometimes back.
            now += Nanoseconds(random() % 1'000'000'000) - (random() % 5 == 0 ? 3s : 0s);
            const auto isExpired = [&](const auto& point) { return now - point.at > period; };
            std::erase_if(newest, isExpired);
            std::erase_if(newestRecords, isExpired);
            if (random() % 2 == 0) {
                const std::string bytes(random() % 50, static_cast<char>('a' + step % 26));
                numbers.feed(now, {step});
                records.feed(now, record(bytes));
                newest.push_back({now, step});
                newestRecords.push_back({now, bytes});
            } else {
                ASSERT_THAT(numbers.pull(now), ElementsAreArray(newest));
                ASSERT_THAT(records.pull(now), ElementsAreArray(newestRecords));
            }
        }
    }
}

TEST_F(ListAggregators, ReplaceFirstOfNumbersAllocatesNothing) {
    auto content = budget(3 * sampleSize);
    Samples<CounterData> samples({{at(1s), {1}}, {at(2s), {2}}, {at(3s), {3}}}, &content);
    ListAggregatorHelper::replaceFirst(samples, at(4s), CounterData{4});
    EXPECT_THAT(samples, ElementsAre(testing::Pair(at(2s), CounterData{2}),
                                     testing::Pair(at(3s), CounterData{3}),
                                     testing::Pair(at(4s), CounterData{4})));
    EXPECT_EQ(content.getNumFailures(), 0U);
}

TEST_F(ListAggregators, ReplaceFirstOfAnEmptyListThrows) {
    Samples<MeasurementData> numbers(std::pmr::new_delete_resource());
    Samples<RecordData> records(std::pmr::new_delete_resource());
    EXPECT_EQ(textOf<std::out_of_range>(
                  [&] { ListAggregatorHelper::replaceFirst(numbers, at(1s), MeasurementData{1}); }),
              rangeText);
    EXPECT_EQ(textOf<std::out_of_range>(
                  [&] { ListAggregatorHelper::replaceFirst(records, at(1s), record("r")); }),
              rangeText);
    EXPECT_TRUE(numbers.empty());
    EXPECT_TRUE(records.empty());
}

// Records of ten bytes each, a full list, on a budget that is cut to what a test leaves.
class RecordReplacement : public testing::Test {
protected:
    static constexpr std::size_t length = 10;

    static std::string text(char letter) { return std::string(length, letter); }

    // A list of a, b, c, ... at 1 s, 2 s, 3 s, ..., with room for capacity records in its buffer.
    Samples<RecordData> list(std::size_t size, std::size_t capacity) {
        Samples<RecordData> samples(&content);
        samples.reserve(capacity);
        for (std::size_t i = 0; i < size; ++i)
            samples.emplace_back(at((i + 1) * 1s), record(text(static_cast<char>('a' + i))));
        return samples;
    }

    static std::vector<std::string> texts(const Samples<RecordData>& samples) {
        std::vector<std::string> all;
        for (const auto& [time, bytes] : samples)
            all.push_back(std::to_string(time.time_since_epoch() / 1s) + ":" +
                          std::string(bytes.begin(), bytes.end()));
        return all;
    }

    CountingMemoryResource content = budget(100'000);
};

TEST_F(RecordReplacement, SmallerRecordGivesTheDifferenceBack) {
    const DefaultResourceScope noDefault(std::pmr::null_memory_resource());
    auto samples = list(3, 3);
    const auto before = content.getAllocatedSize();
    ListAggregatorHelper::replaceFirst(samples, at(9s), record("new"));
    EXPECT_THAT(texts(samples), ElementsAre("2:" + text('b'), "3:" + text('c'), "9:new"));
    EXPECT_EQ(content.getAllocatedSize(), before - length + 3);
    EXPECT_EQ(content.getNumFailures(), 0U);
}

TEST_F(RecordReplacement, LargerRecordTakesTheDifference) {
    const DefaultResourceScope noDefault(std::pmr::null_memory_resource());
    auto samples = list(3, 3);
    const auto before = content.getAllocatedSize();
    ListAggregatorHelper::replaceFirst(samples, at(9s), record(std::string(50, 'n')));
    EXPECT_THAT(texts(samples),
                ElementsAre("2:" + text('b'), "3:" + text('c'), "9:" + std::string(50, 'n')));
    EXPECT_EQ(content.getAllocatedSize(), before - length + 50);
}

TEST_F(RecordReplacement, FailureToShrinkTheRecordIsIgnored) {
    const DefaultResourceScope noDefault(std::pmr::null_memory_resource());
    auto samples = list(3, 3);
    content.setRemainingSize(2);
    ListAggregatorHelper::replaceFirst(samples, at(9s), record("new"));
    EXPECT_THAT(texts(samples), ElementsAre("2:" + text('b'), "3:" + text('c'), "9:new"));
    EXPECT_EQ(content.getNumFailures(), 1U);
}

TEST_F(RecordReplacement, ListIsEmptiedForARecordThatFitsOnlyThen) {
    auto samples = list(3, 3);
    content.setRemainingSize(30);
    // Refused: 45 bytes in the place of the first, and at the end a buffer of 4 for the second old
    // record. In between, the buffer shrinks to 1 and grows to 2.
    const std::string large(45, 'n');
    ListAggregatorHelper::replaceFirst(samples, at(9s), record(large));
    EXPECT_THAT(texts(samples), ElementsAre("3:" + text('c'), "9:" + large));
    EXPECT_EQ(content.getNumFailures(), 2U);
    EXPECT_EQ(content.getAllocatedSize(), 2 * recordSize + length + large.size());
}

TEST_F(RecordReplacement, EmptiedListTakesBackAllButTheOldestIfTheyFit) {
    auto samples = list(3, 30);
    content.setRemainingSize(recordSize);
    const std::string large(100, 'n');
    ListAggregatorHelper::replaceFirst(samples, at(9s), record(large));
    EXPECT_THAT(texts(samples), ElementsAre("2:" + text('b'), "3:" + text('c'), "9:" + large));
    EXPECT_EQ(content.getNumFailures(), 1U);
}

TEST_F(RecordReplacement, OldRecordsWaitOnTheDefaultResource) {
    FailingResource heap;
    {
        const DefaultResourceScope scope(&heap);
        auto samples = list(3, 3);
        content.setRemainingSize(30);
        ListAggregatorHelper::replaceFirst(samples, at(9s), record(std::string(90, 'n')));
        // One buffer and three records, given back by now.
        EXPECT_EQ(heap.allocations(), 4U);
        EXPECT_EQ(heap.held(), 0U);
        for (const auto& [time, bytes] : samples)
            EXPECT_EQ(bytes.get_allocator().resource(), &content);
    }
}

TEST_F(RecordReplacement, WithoutRoomForTheOldRecordsThrowsAndChangesNothing) {
    auto samples = list(3, 3);
    content.setRemainingSize(30);
    for (std::size_t failing = 0; failing < 4; ++failing) {
        FailingResource heap(failing);
        const DefaultResourceScope scope(&heap);
        EXPECT_THROW(
            ListAggregatorHelper::replaceFirst(samples, at(9s), record(std::string(90, 'n'))),
            std::bad_alloc);
        EXPECT_THAT(texts(samples),
                    ElementsAre("1:" + text('a'), "2:" + text('b'), "3:" + text('c')));
        EXPECT_EQ(heap.held(), 0U);
    }
}

TEST_F(RecordReplacement, RecordLargerThanTheWholeBudgetIsDropped) {
    auto samples = list(3, 3);
    content.setRemainingSize(500);
    ListAggregatorHelper::replaceFirst(samples, at(9s), record(std::string(10'000, 'n')));
    EXPECT_THAT(texts(samples), ElementsAre("1:" + text('a'), "2:" + text('b'), "3:" + text('c')));
    EXPECT_EQ(content.getNumFailures(), 2U);
    EXPECT_EQ(content.getAllocatedSize(), 3 * (recordSize + length));
}

TEST_F(RecordReplacement, OnlyRecordStaysWhenTheNewOneIsTooLarge) {
    auto samples = list(1, 1);
    content.setRemainingSize(0);
    ListAggregatorHelper::replaceFirst(samples, at(9s), record("12345678901"));
    EXPECT_THAT(texts(samples), ElementsAre("1:" + text('a')));
}

TEST_F(RecordReplacement, ListThatCannotBeRestoredThrowsAndHoldsItsFirstRecord) {
    // Room enough to shrink the buffer, too little to hold that and the old list side by side.
    auto samples = list(4, 4);
    content.setRemainingSize(20);
    EXPECT_THROW(
        ListAggregatorHelper::replaceFirst(samples, at(9s), record(std::string(1000, 'n'))),
        std::bad_alloc);
    EXPECT_THAT(texts(samples), ElementsAre("1:" + text('a')));
    EXPECT_EQ(content.getAllocatedSize(), recordSize + length);
}

TEST_F(RecordReplacement, CountListMakesRoomForALargeRecord) {
    CountSeries<RecordData> series(CountList{3}, 1s, record(text('a')), &content);
    series.feed(2s, record(text('b')));
    series.feed(3s, record(text('c')));
    content.setRemainingSize(30);
    const std::string large(150, 'n');
    series.feed(4s, record(large));
    EXPECT_THAT(series.pull(), ElementsAre(RecordPoint{4s, large}));
}

TEST_F(RecordReplacement, DurationListMakesRoomForALargeRecord) {
    DurationSeries<RecordData> series(DurationList{100s}, 1s, record(text('a')), &content);
    series.feed(2s, record(text('b')));
    content.setRemainingSize(0);
    const std::string large(60, 'n');
    series.feed(3s, record(large));
    EXPECT_THAT(series.pull(3s),
                ElementsAre(RecordPoint{1s, text('a')}, RecordPoint{2s, text('b')}));
    content.setRemainingSize(2 * recordSize);
    series.feed(4s, record(large));
    EXPECT_THAT(series.pull(4s), ElementsAre(RecordPoint{2s, text('b')}, RecordPoint{4s, large}));
}

// Whatever allocation fails, the list holds a run of the newest samples, whole; a record may be
// dropped, and then the run ends with the one before it.
template <typename SeriesType, typename Params>
void expectWholeRun(FailingResource& content, const Params& params) {
    const auto bytes = [](int i) { return std::string(static_cast<std::size_t>(3 * i), 'x'); };
    try {
        SeriesType series(params, 1s, record(bytes(1)), &content);
        std::vector<RecordPoint> fed{{1s, bytes(1)}};
        for (int i = 2; i <= 10; ++i) {
            series.feed(i * 1s, record(bytes(i)));
            fed.push_back({i * 1s, bytes(i)});
            const auto points = series.pull(i * 1s);
            if (points.empty() || points.back() != fed.back())
                fed.pop_back();
            ASSERT_LE(points.size(), fed.size());
            ASSERT_TRUE(std::equal(points.rbegin(), points.rend(), fed.rbegin()));
            ASSERT_GE(points.size(), 1U);
        }
    } catch (const std::bad_alloc&) {
        // Only the constructor lets it through: its two allocations.
        ASSERT_LE(content.allocations(), 2U);
    }
}

// Three buffers, ten records.
TEST(RecordSweep, CountListSurvivesTheFailureOfEachAllocation) {
    EXPECT_EQ(sweepAllocations([](FailingResource& content) {
                  expectWholeRun<CountSeries<RecordData>>(content, CountList{4});
              }),
              13U);
}

TEST(RecordSweep, DurationListSurvivesTheFailureOfEachAllocation) {
    EXPECT_GT(sweepAllocations([](FailingResource& content) {
                  expectWholeRun<DurationSeries<RecordData>>(content, DurationList{4s});
              }),
              13U);
}

TEST(RecordSweep, ListOnATightBudgetStaysAWholeRun) {
    for (unsigned long bytes = 60; bytes < 700; bytes += 7) {
        SCOPED_TRACE(bytes);
        auto content = budget(bytes);
        CountSeries<RecordData> series(CountList{5}, 1s, record("first"), &content);
        std::vector<RecordPoint> fed{{1s, "first"}};
        std::mt19937 random(static_cast<unsigned>(bytes));
        for (int i = 2; i < 60; ++i) {
            const std::string text(random() % 120, 'x');
            const auto before = series.pull();
            try {
                series.feed(i * 1s, record(text));
            } catch (const std::bad_alloc&) {
                // The list couldn't be restored; what it holds starts the run anew.
                const auto rest = series.pull();
                ASSERT_TRUE(std::equal(rest.begin(), rest.end(), before.begin()));
                fed = rest;
                continue;
            }
            fed.push_back({i * 1s, text});
            const auto points = series.pull();
            if (points.empty() || points.back() != fed.back())
                fed.pop_back();
            ASSERT_LE(points.size(), fed.size());
            ASSERT_TRUE(std::equal(points.rbegin(), points.rend(), fed.rbegin()));
        }
        EXPECT_EQ(*content.getRemainingSize() + content.getAllocatedSize(), bytes);
    }
}

}  // namespace
}  // namespace Qdx::Backend
