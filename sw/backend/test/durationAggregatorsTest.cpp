#include "durationAggregators.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <stdexcept>

#include "countingMemoryResource.hpp"
#include "memoryFaults.hpp"
#include "series.hpp"

namespace Qdx::Backend {
namespace {

using namespace std::chrono_literals;
using AggregatorParams::DurationNonList;
using Qdx::Test::DefaultResourceScope;
using Qdx::Test::FailingResource;
using Qdx::Test::Nanoseconds;
using Qdx::Test::Point;
using Qdx::Test::record;
using Qdx::Test::RecordingEncoder;
using Qdx::Test::Series;
using Qdx::Test::sweepAllocations;
using Qdx::Test::textOf;
using Qdx::V1::CounterData;
using Qdx::V1::MeasurementData;
using testing::ElementsAre;
using testing::IsEmpty;

using MinSeries = Series<DurationMinAggregator, MeasurementData>;
using MaxSeries = Series<DurationMaxAggregator, MeasurementData>;
using AverageSeries = Series<DurationAverageAggregator, MeasurementData>;
using SumSeries = Series<DurationSumAggregator, CounterData>;

constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
constexpr auto highest = std::numeric_limits<std::int64_t>::max();
constexpr auto resultSize = sizeof(std::pair<time_point, MeasurementData>);
const std::string rangeText =
    "vector::_M_range_check: __n (which is 0) >= this->size() (which is 0)";

// Nothing here may allocate outside the content resource.
class DurationAggregators : public testing::Test {
    DefaultResourceScope noDefault{std::pmr::null_memory_resource()};
};

CountingMemoryResource budget(unsigned long bytes) {
    return {std::pmr::new_delete_resource(), "content", std::make_shared<unsigned long>(bytes)};
}

TEST_F(DurationAggregators, HoldTheirWindowAndNoMore) {
    struct Extreme : Aggregator {
        Samples<MeasurementData> results;
        time_point windowStart;
        MeasurementData lastValue;
        MeasurementData extreme;
    };
    struct Average : Aggregator {
        Samples<MeasurementData> results;
        time_point windowStart;
        time_point lastChange;
        MeasurementData lastValue;
        std::int64_t accumulated;
    };
    struct Sum : Aggregator {
        Samples<CounterData> results;
        time_point windowStart;
        CounterData sum;
        bool hasData;
    };
    EXPECT_EQ(sizeof(DurationMinAggregator), sizeof(Extreme));
    EXPECT_EQ(sizeof(DurationMaxAggregator), sizeof(Extreme));
    EXPECT_EQ(sizeof(DurationAverageAggregator), sizeof(Average));
    EXPECT_EQ(sizeof(DurationSumAggregator), sizeof(Sum));
}

TEST_F(DurationAggregators, TellTheOutputFormatsNumberOfTheirMethod) {
    const DurationNonList params{10s, 3};
    EXPECT_EQ(MinSeries(params, 0s, {1}).get().getGpbAggrType(), 0);
    EXPECT_EQ(MaxSeries(params, 0s, {1}).get().getGpbAggrType(), 1);
    EXPECT_EQ(AverageSeries(params, 0s, {1}).get().getGpbAggrType(), 2);
    EXPECT_EQ(SumSeries(params, 0s, {1}).get().getGpbAggrType(), 3);
}

//   7   9
//   |---+------|----------|----------|-----
//   0   3      10         20         30   35
TEST_F(DurationAggregators, MaxFillsGapsWithTheStandingValue) {
    MaxSeries series(DurationNonList{10s, 5}, 0s, {7});
    series.feed(3s, {9});
    EXPECT_THAT(series.pull(35s), ElementsAre(Point{10s, 9}, Point{20s, 9}, Point{30s, 9}));
}

TEST_F(DurationAggregators, LastValueOpensTheNextWindowOfMin) {
    MinSeries series(DurationNonList{10s, 5}, 0s, {5});
    series.feed(3s, {1});
    EXPECT_THAT(series.pull(25s), ElementsAre(Point{10s, 1}, Point{20s, 1}));
}

TEST_F(DurationAggregators, ExtremeOfTheLastWindowIsForgotten) {
    MaxSeries series(DurationNonList{10s, 5}, 0s, {9});
    series.feed(3s, {7});
    EXPECT_THAT(series.pull(20s), ElementsAre(Point{10s, 9}, Point{20s, 7}));
}

TEST_F(DurationAggregators, ValueStandingAtTheStartCountsForItsWindow) {
    MinSeries series(DurationNonList{10s, 5}, 0s, {5});
    series.feed(10s, {8});
    EXPECT_THAT(series.pull(20s), ElementsAre(Point{10s, 5}, Point{20s, 5}));
}

TEST_F(DurationAggregators, MinAndMaxCompareSigned) {
    MinSeries min(DurationNonList{10s, 1}, 0s, {-1});
    MaxSeries max(DurationNonList{10s, 1}, 0s, {-1});
    for (const auto value : {lowest, highest}) {
        min.feed(1s, {value});
        max.feed(1s, {value});
    }
    EXPECT_THAT(min.pull(10s), ElementsAre(Point{10s, lowest}));
    EXPECT_THAT(max.pull(10s), ElementsAre(Point{10s, highest}));
}

TEST_F(DurationAggregators, WindowClosesExactlyAtItsEnd) {
    const DurationNonList params{10s, 5};
    MinSeries min(params, 5s, {1});
    AverageSeries average(params, 5s, {1});
    SumSeries sum(params, 5s, {1});
    EXPECT_THAT(min.pull(15s - 1ns), IsEmpty());
    EXPECT_THAT(average.pull(15s - 1ns), IsEmpty());
    EXPECT_THAT(sum.pull(15s - 1ns), IsEmpty());
    EXPECT_THAT(min.pull(15s), ElementsAre(Point{15s, 1}));
    EXPECT_THAT(average.pull(15s), ElementsAre(Point{15s, 1}));
    EXPECT_THAT(sum.pull(15s), ElementsAre(Point{15s, 1}));
}

TEST_F(DurationAggregators, GridRunsFromTheFirstSampleToTheNanosecond) {
    MaxSeries series(DurationNonList{1s, 5}, 123456789ns, {4});
    EXPECT_THAT(series.pull(3s), ElementsAre(Point{1123456789ns, 4}, Point{2123456789ns, 4}));
}

TEST_F(DurationAggregators, SampleClosesWindowsAndJoinsTheNext) {
    SumSeries series(DurationNonList{10s, 5}, 0s, {1});
    series.feed(10s, {2});
    EXPECT_THAT(series.pull(10s), ElementsAre(Point{10s, 1}));
    EXPECT_THAT(series.pull(20s), ElementsAre(Point{10s, 1}, Point{20s, 2}));
}

TEST_F(DurationAggregators, KeepTheNewestWindowsOldestFirst) {
    MaxSeries series(DurationNonList{10s, 2}, 0s, {7});
    series.feed(55s, {8});
    EXPECT_THAT(series.pull(60s), ElementsAre(Point{50s, 7}, Point{60s, 8}));
}

// The windows of a year come one by one in a model only if the long way is passed over.
TEST_F(DurationAggregators, YearWithoutSamplesLeavesTheNewestWindows) {
    constexpr std::uint32_t windows = 3600;
    constexpr auto year = 365 * 24h;
    const DurationNonList params{1s, windows};
    MaxSeries max(params, 0s, {7});
    max.feed(100ms, {-3});
    AverageSeries average(params, 0s, {7});
    average.feed(500ms, {-3});
    std::vector<Point> newest;
    for (Nanoseconds end = year - (windows - 1) * 1s; end <= year; end += 1s) {
        newest.push_back({end, -3});
    }
    EXPECT_EQ(max.pull(year + 999ms), newest);
    EXPECT_EQ(average.pull(year + 999ms), newest);
}

TEST_F(DurationAggregators, AverageWeighsValuesByTheTimeTheyStood) {
    AverageSeries series(DurationNonList{10s, 5}, 0s, {10});
    series.feed(5s, {20});
    EXPECT_THAT(series.pull(10s), ElementsAre(Point{10s, 15}));
}

TEST_F(DurationAggregators, AverageOfAWindowWithoutSamplesIsTheStandingValue) {
    AverageSeries series(DurationNonList{10s, 5}, 0s, {10});
    series.feed(5s, {20});
    EXPECT_THAT(series.pull(30s), ElementsAre(Point{10s, 15}, Point{20s, 20}, Point{30s, 20}));
}

TEST_F(DurationAggregators, AverageTruncatesEachTermOnItsOwn) {
    AverageSeries series(DurationNonList{1s, 5}, 0s, {1});
    // 999 ms of 1 are nothing, and so is the last millisecond.
    series.feed(999ms, {1});
    EXPECT_THAT(series.pull(1s), ElementsAre(Point{1s, 0}));
    // A whole second of it is 1.
    EXPECT_THAT(series.pull(2s), ElementsAre(Point{1s, 0}, Point{2s, 1}));
}

TEST_F(DurationAggregators, AverageTruncatesNegativeTermsTowardZero) {
    AverageSeries series(DurationNonList{1s, 5}, 0s, {-3});
    // 500 ms of -3 are -1, and again -1.
    series.feed(500ms, {-3});
    EXPECT_THAT(series.pull(1s), ElementsAre(Point{1s, -2}));
}

TEST_F(DurationAggregators, AverageIgnoresPartsOfAMillisecond) {
    AverageSeries series(DurationNonList{1s, 5}, 0s, {1'000'000});
    series.feed(1'999'999ns, {0});
    EXPECT_THAT(series.pull(1s), ElementsAre(Point{1s, 1000}));
}

TEST_F(DurationAggregators, AverageTruncatesTheResultTowardZero) {
    AverageSeries series(DurationNonList{2s, 5}, 0s, {-1});
    series.feed(1s, {-2});
    EXPECT_THAT(series.pull(2s), ElementsAre(Point{2s, -1}));
}

TEST_F(DurationAggregators, AverageWrapsInItsTerms) {
    AverageSeries series(DurationNonList{10s, 5}, 0s, {highest});
    // 10,000 times the highest value is -10,000 in 64 bits; divided by 1000 and by 10 that is -1.
    EXPECT_THAT(series.pull(10s), ElementsAre(Point{10s, -1}));
}

TEST_F(DurationAggregators, AverageCountsMillisecondsInThirtyTwoBits) {
    // 2,147,484,000 ms is -2,147,483,296 in 32 bits, on both sides of the division:
    // the term is -2,147,483,296 * 1000 / 1000, the divisor -2,147,483.
    AverageSeries series(DurationNonList{2'147'484s, 5}, 0s, {1000});
    EXPECT_THAT(series.pull(2'147'484s), ElementsAre(Point{2'147'484s, 1000}));
    // Half of it is in range: 1,073,742,000 twice, over the wrong divisor.
    AverageSeries halves(DurationNonList{2'147'484s, 5}, 0s, {1000});
    halves.feed(1'073'742s, {1000});
    EXPECT_THAT(halves.pull(2'147'484s), ElementsAre(Point{2'147'484s, -1000}));
}

TEST_F(DurationAggregators, AverageOverADivisorOfMinusOneIsNegated) {
    // 4,294,966,000 ms is -1296 in 32 bits, which makes a divisor of -1.
    AverageSeries series(DurationNonList{4'294'966s, 5}, 0s, {1000});
    EXPECT_THAT(series.pull(4'294'966s), ElementsAre(Point{4'294'966s, 1296}));
}

TEST_F(DurationAggregators, LowestIntegralOverMinusOneStaysTheLowest) {
    // The lowest value is 1000 times the term of its millisecond, and 808 less.
    AverageSeries series(DurationNonList{4'294'966s, 5}, 0s, {lowest});
    for (int i = 1; i < 1000; ++i)
        series.feed(i * 1ms, {lowest});
    series.feed(1s, {-808});
    series.feed(2s, {0});
    EXPECT_THAT(series.pull(4'294'966s), ElementsAre(Point{4'294'966s, lowest}));
}

TEST_F(DurationAggregators, AverageOfASecondsDivisorOfZeroIsZero) {
    // 4,294,967 s are 4,294,967,000 ms, which is -296 in 32 bits: no whole second.
    AverageSeries series(DurationNonList{4'294'967s, 5}, 0s, {1'000'000});
    EXPECT_THAT(series.pull(4'294'967s), ElementsAre(Point{4'294'967s, 0}));
}

TEST_F(DurationAggregators, EarlierTimeGivesANegativeTerm) {
    AverageSeries series(DurationNonList{10s, 5}, 0s, {10});
    series.feed(8s, {100});
    // 80 up to here, then -200 back, and 10 * 8 s to the end.
    series.feed(6s, {20});
    EXPECT_THAT(series.pull(10s), ElementsAre(Point{10s, (80 - 200 + 80) / 10}));
}

TEST_F(DurationAggregators, EarlierTimeClosesNothing) {
    MinSeries min(DurationNonList{10s, 5}, 100s, {5});
    SumSeries sum(DurationNonList{10s, 5}, 100s, {5});
    min.feed(0s, {3});
    sum.feed(0s, {3});
    EXPECT_THAT(min.pull(50s), IsEmpty());
    EXPECT_THAT(sum.pull(50s), IsEmpty());
    EXPECT_THAT(min.pull(110s), ElementsAre(Point{110s, 3}));
    EXPECT_THAT(sum.pull(110s), ElementsAre(Point{110s, 8}));
}

TEST_F(DurationAggregators, SumLeavesOutWindowsWithoutSamples) {
    SumSeries series(DurationNonList{10s, 5}, 0s, {1});
    series.feed(5s, {2});
    series.feed(35s, {4});
    EXPECT_THAT(series.pull(40s), ElementsAre(Point{10s, 3}, Point{40s, 4}));
}

TEST_F(DurationAggregators, SumPulledTwiceInOneWindowGivesTheSame) {
    SumSeries series(DurationNonList{10s, 5}, 0s, {1});
    EXPECT_THAT(series.pull(12s), ElementsAre(Point{10s, 1}));
    EXPECT_THAT(series.pull(13s), ElementsAre(Point{10s, 1}));
}

TEST_F(DurationAggregators, SampleAfterAPullOpensAFreshSum) {
    SumSeries series(DurationNonList{10s, 5}, 0s, {1});
    series.pull(12s);
    series.feed(13s, {5});
    series.feed(14s, {6});
    EXPECT_THAT(series.pull(20s), ElementsAre(Point{10s, 1}, Point{20s, 11}));
}

TEST_F(DurationAggregators, SumStaysOnTheGridAfterALongGap) {
    SumSeries series(DurationNonList{10s, 5}, 3s, {1});
    series.feed(1'000'000s, {2});
    EXPECT_THAT(series.pull(1'000'003s), ElementsAre(Point{13s, 1}, Point{1'000'003s, 2}));
}

TEST_F(DurationAggregators, SumWraps) {
    SumSeries series(DurationNonList{10s, 5}, 0s, {highest});
    series.feed(1s, {1});
    EXPECT_THAT(series.pull(10s), ElementsAre(Point{10s, lowest}));
}

TEST_F(DurationAggregators, PullBeforeTheFirstEndAddsNothing) {
    RecordingEncoder encoder;
    MinSeries(DurationNonList{10s, 5}, 0s, {1}).pull(encoder, 9s);
    MaxSeries(DurationNonList{10s, 5}, 0s, {1}).pull(encoder, 9s);
    AverageSeries(DurationNonList{10s, 5}, 0s, {1}).pull(encoder, 9s);
    SumSeries(DurationNonList{10s, 5}, 0s, {1}).pull(encoder, 9s);
    EXPECT_TRUE(encoder.empty());
}

template <typename SeriesType>
std::string describe(std::chrono::seconds period = 10s) {
    SeriesType series(DurationNonList{period, 3}, 0s, {5});
    RecordingEncoder encoder;
    series.pull(encoder, period);
    return encoder.collections().ShortDebugString();
}

TEST_F(DurationAggregators, PullSaysHowItWasAggregated) {
    const std::string values = " { id: 7 values: 5 timestamps: 10000000000 ";
    EXPECT_EQ(describe<MinSeries>(),
              "measurementCollections" + values + "min { subtype: DURATION size: 10 } }");
    EXPECT_EQ(describe<MaxSeries>(),
              "measurementCollections" + values + "max { subtype: DURATION size: 10 } }");
    EXPECT_EQ(describe<AverageSeries>(),
              "measurementCollections" + values + "avg { subtype: DURATION size: 10 } }");
    EXPECT_EQ(describe<SumSeries>(),
              "counterCollections" + values + "sum { subtype: DURATION size: 10 } }");
}

TEST_F(DurationAggregators, SizeTakesTheLowBitsOfALongPeriod) {
    EXPECT_THAT(describe<MinSeries>(std::chrono::seconds(4'294'967'296 + 5)),
                testing::HasSubstr("min { subtype: DURATION size: 5 }"));
}

TEST_F(DurationAggregators, TakeNoCollectionForAnAnswer) {
    RecordingEncoder encoder;
    encoder.refuse();
    MinSeries(DurationNonList{10s, 3}, 0s, {5}).pull(encoder, 10s);
    MaxSeries(DurationNonList{10s, 3}, 0s, {5}).pull(encoder, 10s);
    AverageSeries(DurationNonList{10s, 3}, 0s, {5}).pull(encoder, 10s);
    SumSeries(DurationNonList{10s, 3}, 0s, {5}).pull(encoder, 10s);
    EXPECT_TRUE(encoder.empty());
}

TEST_F(DurationAggregators, ClearGivesTheMemoryBackAndLeavesTheOpenWindow) {
    auto content = budget(1000);
    SumSeries series(DurationNonList{10s, 5}, 0s, {1}, &content);
    series.feed(12s, {4});
    EXPECT_EQ(content.getAllocatedSize(), resultSize);
    series.clear(15s);
    EXPECT_EQ(content.getAllocatedSize(), 0U);
    EXPECT_THAT(series.pull(19s), IsEmpty());
    EXPECT_THAT(series.pull(20s), ElementsAre(Point{20s, 4}));
}

TEST_F(DurationAggregators, ClearClosesNoWindow) {
    const DurationNonList params{10s, 5};
    MinSeries min(params, 0s, {1});
    AverageSeries average(params, 0s, {1});
    SumSeries sum(params, 0s, {1});
    min.clear(12s);
    average.clear(12s);
    sum.clear(12s);
    EXPECT_THAT(min.pull(12s), ElementsAre(Point{10s, 1}));
    EXPECT_THAT(average.pull(12s), ElementsAre(Point{10s, 1}));
    EXPECT_THAT(sum.pull(12s), ElementsAre(Point{10s, 1}));
}

TEST_F(DurationAggregators, RefuseOtherKindsOfSamples) {
    MinSeries min(DurationNonList{10s, 5}, 0s, {1});
    SumSeries sum(DurationNonList{10s, 5}, 0s, {1});
    EXPECT_THROW(min.get().feedValue({}, {}, CounterData{1}), std::runtime_error);
    EXPECT_THROW(min.get().feedValue({}, {}, record("r")), std::runtime_error);
    EXPECT_THROW(sum.get().feedValue({}, {}, MeasurementData{1}), std::runtime_error);
}

TEST_F(DurationAggregators, RefuseParametersOfOtherAggregators) {
    MaxSeries series(DurationNonList{10s, 5}, 0s, {1});
    const auto feed = [&] {
        series.get().feedValue(AggregatorParams::DurationList{1s}, {}, MeasurementData{1});
    };
    EXPECT_EQ(textOf<std::bad_variant_access>(feed), "std::get: wrong index for variant");
}

template <typename SeriesType>
void expectEveryCloseToThrow(std::chrono::seconds period) {
    SeriesType series(DurationNonList{period, 0}, 0s, {1});
    EXPECT_NO_THROW(series.feed(period - 1ns, {1}));
    EXPECT_EQ(textOf<std::out_of_range>([&] { series.feed(period, {2}); }), rangeText);
    EXPECT_EQ(textOf<std::out_of_range>([&] { series.pull(period); }), rangeText);
    EXPECT_EQ(textOf<std::out_of_range>([&] { series.pull(10 * period); }), rangeText);
    EXPECT_THAT(series.pull(period - 1ns), IsEmpty());
}

TEST_F(DurationAggregators, KeepingNoWindowsThrowsAtEveryClose) {
    expectEveryCloseToThrow<MinSeries>(10s);
    expectEveryCloseToThrow<MaxSeries>(10s);
    expectEveryCloseToThrow<AverageSeries>(10s);
    expectEveryCloseToThrow<SumSeries>(10s);
}

TEST_F(DurationAggregators, PeriodOfZeroThrowsUnlessTimeIsEarlier) {
    expectEveryCloseToThrow<MinSeries>(0s);
    expectEveryCloseToThrow<MaxSeries>(0s);
    expectEveryCloseToThrow<AverageSeries>(0s);
    expectEveryCloseToThrow<SumSeries>(0s);
}

TEST_F(DurationAggregators, RefusedGrowthGivesUpTheOldestResult) {
    auto content = budget(resultSize);
    MaxSeries series(DurationNonList{10s, 10}, 0s, {1}, &content);
    EXPECT_THAT(series.pull(30s), ElementsAre(Point{30s, 1}));
    EXPECT_EQ(content.getNumFailures(), 2U);
    content.setRemainingSize(1000);
    EXPECT_THAT(series.pull(40s), ElementsAre(Point{30s, 1}, Point{40s, 1}));
}

TEST_F(DurationAggregators, ResultIsLostWithoutAnyMemory) {
    auto content = budget(0);
    AverageSeries average(DurationNonList{10s, 10}, 0s, {5}, &content);
    SumSeries sum(DurationNonList{10s, 10}, 0s, {5}, &content);
    EXPECT_THAT(average.pull(10s), IsEmpty());
    EXPECT_THAT(sum.pull(10s), IsEmpty());
    content.setRemainingSize(1000);
    EXPECT_THAT(average.pull(20s), ElementsAre(Point{20s, 5}));
    sum.feed(19s, {7});
    EXPECT_THAT(sum.pull(20s), ElementsAre(Point{20s, 7}));
}

TEST_F(DurationAggregators, AllocateNothingForTheirFirstWindow) {
    auto content = budget(0);
    const DurationNonList params{10s, 5};
    MinSeries min(params, 0s, {1}, &content);
    AverageSeries average(params, 0s, {1}, &content);
    SumSeries sum(params, 0s, {1}, &content);
    min.feed(9s, {1});
    average.feed(9s, {1});
    sum.feed(9s, {1});
    EXPECT_EQ(content.getNumFailures(), 0U);
}

constexpr auto earliest = Nanoseconds(lowest);
constexpr auto latest = Nanoseconds(highest);

TEST_F(DurationAggregators, EndPastTheLatestTimeWraps) {
    const DurationNonList params{1s, 1};
    SumSeries series(params, latest, {1});
    EXPECT_THAT(series.pull(latest), ElementsAre(Point{earliest + 1s - 1ns, 1}));
}

TEST_F(DurationAggregators, GapLongerThanTheClockWraps) {
    SumSeries series(DurationNonList{1s, 1}, earliest, {1});
    // From the earliest to the latest time are -1 ns: the window doesn't move on.
    EXPECT_THAT(series.pull(latest), ElementsAre(Point{earliest + 1s, 1}));
    series.feed(earliest, {2});
    EXPECT_THAT(series.pull(earliest + 1s), ElementsAre(Point{earliest + 1s, 2}));
}

TEST_F(DurationAggregators, PeriodTooLongForNanosecondsWraps) {
    // 2^55 s are 2^64 * 1,953,125 ns: 0 in 64 bits.
    SumSeries series(DurationNonList{std::chrono::seconds(1LL << 55), 1}, 5s, {1});
    EXPECT_THAT(series.pull(5s), ElementsAre(Point{5s, 1}));
    EXPECT_THAT(series.pull(9s), ElementsAre(Point{5s, 1}));
}

TEST_F(DurationAggregators, AverageTakesTimesAsFarApartAsTheClockAllows) {
    AverageSeries series(DurationNonList{10s, 1}, 0s, {1});
    series.feed(earliest, {lowest});
    series.feed(9s, {highest});
    // The way back is -9,223,372,036,854 ms, which is -2,077,252,342 in 32 bits; the way forward
    // wraps to nearly the same, and that even number times the lowest value to 0; then comes 1 s of
    // the highest value, which wraps to -1.
    EXPECT_THAT(series.pull(10s), ElementsAre(Point{10s, (-2'077'252 + 0 - 1) / 10}));
}

// The reference: all samples, cut into windows anew at each pull. Times never run back.
class Model {
public:
    explicit Model(DurationNonList parameters) : params(parameters) {}
    virtual ~Model() = default;

    void feed(Nanoseconds at, std::int64_t value) {
        samples.push_back({at, value});
        progress(at);
    }
    void progress(Nanoseconds now) { reached = std::max(reached, now); }

    // Windows closed by now are gone.
    void clear() { cleared = reached; }

    std::vector<Point> results() const {
        std::vector<Point> all;
        const Nanoseconds period = params.periodSeconds;
        for (auto end = samples[0].at + period; end <= reached; end += period) {
            if (const auto result = resultOf(end - period, end); result && end > cleared)
                all.push_back({end, *result});
        }
        const std::size_t tooOld = all.size() > params.windows ? all.size() - params.windows : 0;
        return {all.begin() + static_cast<std::ptrdiff_t>(tooOld), all.end()};
    }

protected:
    virtual std::optional<std::int64_t> resultOf(Nanoseconds start, Nanoseconds end) const = 0;

    // The samples of the window.
    std::vector<Point> within(Nanoseconds start, Nanoseconds end) const {
        std::vector<Point> window;
        for (const auto& sample : samples) {
            if (sample.at >= start && sample.at < end)
                window.push_back(sample);
        }
        return window;
    }

    // What stood when the window opened; the first window has nothing.
    std::optional<std::int64_t> standing(Nanoseconds start) const {
        std::optional<std::int64_t> value;
        for (const auto& sample : samples) {
            if (sample.at < start)
                value = sample.value;
        }
        return value;
    }

    DurationNonList params;

private:
    std::vector<Point> samples;
    Nanoseconds reached{lowest};
    Nanoseconds cleared{lowest};
};

template <bool isMax>
class ExtremeModel : public Model {
    using Model::Model;
    std::optional<std::int64_t> resultOf(Nanoseconds start, Nanoseconds end) const override {
        std::vector<std::int64_t> values;
        if (const auto value = standing(start))
            values.push_back(*value);
        for (const auto& sample : within(start, end))
            values.push_back(sample.value);
        return isMax ? *std::max_element(values.begin(), values.end())
                     : *std::min_element(values.begin(), values.end());
    }
};

class SumModel : public Model {
    using Model::Model;
    std::optional<std::int64_t> resultOf(Nanoseconds start, Nanoseconds end) const override {
        const auto window = within(start, end);
        if (window.empty())
            return {};
        std::uint64_t sum = 0;
        for (const auto& sample : window)
            sum += static_cast<std::uint64_t>(sample.value);
        return static_cast<std::int64_t>(sum);
    }
};

__extension__ using Wide = __int128;

class AverageModel : public Model {
    using Model::Model;
    std::optional<std::int64_t> resultOf(Nanoseconds start, Nanoseconds end) const override {
        Wide integral = 0;
        auto from = start;
        auto value = standing(start);
        for (const auto& sample : within(start, end)) {
            integral += term(from, sample.at, value);
            from = sample.at;
            value = sample.value;
        }
        integral += term(from, end, value);
        return static_cast<std::int64_t>(integral / params.periodSeconds.count());
    }

    static Wide term(Nanoseconds from, Nanoseconds to, std::optional<std::int64_t> value) {
        return Wide{(to - from) / 1ms} * value.value_or(0) / 1000;
    }
};

template <typename Class, typename T, typename ModelType>
void compareWithModel(std::uint64_t valueRange) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 random(seed);
        const DurationNonList params{std::chrono::seconds(1 + random() % 5),
                                     static_cast<std::uint32_t>(1 + random() % 5)};
        const auto value = [&] {
            const auto offset = random() % valueRange;
            return static_cast<std::int64_t>(offset) - static_cast<std::int64_t>(valueRange / 2);
        };
        // Whole seconds meet the ends of windows, odd nanoseconds fall between; some gaps are long.
        const auto gap = [&]() -> Nanoseconds {
            if (random() % 3 == 0)
                return std::chrono::seconds(random() % 3);
            return Nanoseconds(random() % (random() % 10 == 0 ? 30'000'000'000U : 700'000'000U));
        };
        Nanoseconds now = 100s;
        const auto first = value();
        Series<Class, T> series(params, now, {first});
        ModelType model(params);
        model.feed(now, first);
        for (int step = 0; step < 100; ++step) {
            now += gap();
            if (random() % 3 != 0) {
                const auto sample = value();
                series.feed(now, {sample});
                model.feed(now, sample);
            } else if (random() % 10 == 0) {
                series.clear(now);
                model.clear();
            } else {
                model.progress(now);
                ASSERT_EQ(series.pull(now), model.results());
            }
        }
    }
}

TEST_F(DurationAggregators, MinAgreesWithItsModel) {
    compareWithModel<DurationMinAggregator, MeasurementData, ExtremeModel<false>>(highest);
}

TEST_F(DurationAggregators, MaxAgreesWithItsModel) {
    compareWithModel<DurationMaxAggregator, MeasurementData, ExtremeModel<true>>(highest);
}

TEST_F(DurationAggregators, AverageAgreesWithItsModel) {
    compareWithModel<DurationAverageAggregator, MeasurementData, AverageModel>(2001);
    compareWithModel<DurationAverageAggregator, MeasurementData, AverageModel>(1ULL << 48);
}

TEST_F(DurationAggregators, SumAgreesWithItsModel) {
    compareWithModel<DurationSumAggregator, CounterData, SumModel>(highest);
}

// Whatever allocation fails, the history is a run of true results that ends with the newest.
// Feeds 0, 1, 2, ... at the start of each window; resultOf gives the result of a window by its
// number, counted from 1.
template <typename SeriesType, typename ResultOf>
std::size_t sweepSeries(ResultOf resultOf) {
    return sweepAllocations([&](FailingResource& content) {
        SeriesType series(DurationNonList{10s, 6}, 0s, {0}, &content);
        for (int i = 1; i <= 12; ++i) {
            series.feed(i * 10s, {i});
            const auto points = series.pull(i * 10s);
            // Only the very first result has nothing older to give way.
            ASSERT_EQ(points.empty(), i == 1 && content.hasFailed());
            for (std::size_t age = 0; age < points.size(); ++age) {
                const auto number = i - static_cast<int>(age);
                ASSERT_EQ(points[points.size() - 1 - age], (Point{number * 10s, resultOf(number)}));
            }
        }
    });
}

TEST_F(DurationAggregators, SurviveTheFailureOfEachAllocation) {
    const auto fedInWindow = [](int number) { return number - 1; };
    // The value that stands when a window opens counts in it too.
    const auto fedBeforeWindow = [](int number) { return std::max(number - 2, 0); };
    // Buffers of 1, 2, 4 and 8 results.
    EXPECT_EQ(sweepSeries<MinSeries>(fedBeforeWindow), 4U);
    EXPECT_EQ(sweepSeries<MaxSeries>(fedInWindow), 4U);
    EXPECT_EQ(sweepSeries<AverageSeries>(fedInWindow), 4U);
    EXPECT_EQ(sweepSeries<SumSeries>(fedInWindow), 4U);
}

}  // namespace
}  // namespace Qdx::Backend
