#include "countAggregators.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <random>
#include <stdexcept>
#include <type_traits>

#include "countingMemoryResource.hpp"
#include "memoryFaults.hpp"
#include "series.hpp"

namespace Qdx::Backend {
namespace {

using namespace std::chrono_literals;
using AggregatorParams::CountNonList;
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

using MinSeries = Series<CountMinAggregator, MeasurementData>;
using MaxSeries = Series<CountMaxAggregator, MeasurementData>;
using AverageSeries = Series<CountAverageAggregator, MeasurementData>;
using SumSeries = Series<CountSumAggregator, CounterData>;

constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
constexpr auto highest = std::numeric_limits<std::int64_t>::max();
constexpr auto resultSize = sizeof(std::pair<time_point, MeasurementData>);

// Nothing here may allocate outside the content resource.
class CountAggregators : public testing::Test {
    DefaultResourceScope noDefault{std::pmr::null_memory_resource()};
};

CountingMemoryResource budget(unsigned long bytes) {
    return {std::pmr::new_delete_resource(), "content", std::make_shared<unsigned long>(bytes)};
}

TEST_F(CountAggregators, HoldTheirWindowAndNoMore) {
    struct Expected : Aggregator {
        Samples<MeasurementData> results;
        std::uint32_t count;
        MeasurementData value;
    };
    EXPECT_EQ(sizeof(CountMinAggregator), sizeof(Expected));
    EXPECT_EQ(sizeof(CountMaxAggregator), sizeof(Expected));
    EXPECT_EQ(sizeof(CountAverageAggregator), sizeof(Expected));
    EXPECT_EQ(sizeof(CountSumAggregator), sizeof(Expected));
}

TEST_F(CountAggregators, TellTheOutputFormatsNumberOfTheirMethod) {
    const CountNonList params{2, 3};
    EXPECT_EQ(MinSeries(params, 0s, {1}).get().getGpbAggrType(), 0);
    EXPECT_EQ(MaxSeries(params, 0s, {1}).get().getGpbAggrType(), 1);
    EXPECT_EQ(AverageSeries(params, 0s, {1}).get().getGpbAggrType(), 2);
    EXPECT_EQ(SumSeries(params, 0s, {1}).get().getGpbAggrType(), 3);
}

TEST_F(CountAggregators, WindowOfOneSampleIsAResultAtOnce) {
    const CountNonList params{1, 5};
    MinSeries min(params, 1s, {5});
    MaxSeries max(params, 1s, {5});
    AverageSeries average(params, 1s, {5});
    SumSeries sum(params, 1s, {5});
    EXPECT_THAT(min.pull(), ElementsAre(Point{1s, 5}));
    EXPECT_THAT(max.pull(), ElementsAre(Point{1s, 5}));
    EXPECT_THAT(average.pull(), ElementsAre(Point{1s, 5}));
    EXPECT_THAT(sum.pull(), ElementsAre(Point{1s, 5}));
}

TEST_F(CountAggregators, EachSampleClosesAWindowOfOne) {
    const CountNonList params{1, 5};
    const auto expected = ElementsAre(Point{1s, 5}, Point{2s, 9}, Point{3s, 3});
    const auto feed = [](auto series) {
        series.feed(2s, {9});
        series.feed(3s, {3});
        return series.pull();
    };
    EXPECT_THAT(feed(MinSeries(params, 1s, {5})), expected);
    EXPECT_THAT(feed(MaxSeries(params, 1s, {5})), expected);
    EXPECT_THAT(feed(AverageSeries(params, 1s, {5})), expected);
    EXPECT_THAT(feed(SumSeries(params, 1s, {5})), expected);
}

TEST_F(CountAggregators, ResultCarriesTheTimeOfTheSampleThatClosedIt) {
    MinSeries series(CountNonList{2, 3}, 1s, {5});
    series.feed(4s, {3});
    EXPECT_THAT(series.pull(), ElementsAre(Point{4s, 3}));
}

TEST_F(CountAggregators, OpenWindowShowsNothing) {
    MinSeries series(CountNonList{2, 3}, 1s, {5});
    EXPECT_THAT(series.pull(), IsEmpty());
    series.feed(2s, {3});
    series.feed(3s, {1});
    EXPECT_THAT(series.pull(), ElementsAre(Point{2s, 3}));
}

TEST_F(CountAggregators, MinAndMaxCompareSigned) {
    MinSeries min(CountNonList{3, 1}, 0s, {-1});
    MaxSeries max(CountNonList{3, 1}, 0s, {-1});
    for (const auto value : {lowest, highest}) {
        min.feed(1s, {value});
        max.feed(1s, {value});
    }
    EXPECT_THAT(min.pull(), ElementsAre(Point{1s, lowest}));
    EXPECT_THAT(max.pull(), ElementsAre(Point{1s, highest}));
}

TEST_F(CountAggregators, NextWindowForgetsTheExtremeOfTheLast) {
    MaxSeries series(CountNonList{2, 3}, 0s, {100});
    series.feed(1s, {1});
    series.feed(2s, {2});
    series.feed(3s, {3});
    EXPECT_THAT(series.pull(), ElementsAre(Point{1s, 100}, Point{3s, 3}));
}

TEST_F(CountAggregators, AverageTruncatesTowardZero) {
    AverageSeries series(CountNonList{2, 3}, 0s, {-1});
    series.feed(1s, {-2});
    series.feed(2s, {1});
    series.feed(3s, {2});
    EXPECT_THAT(series.pull(), ElementsAre(Point{1s, -1}, Point{3s, 1}));
}

TEST_F(CountAggregators, AverageOfAWrappedSumIsWhatWrappingGives) {
    AverageSeries series(CountNonList{2, 3}, 0s, {highest});
    series.feed(1s, {1});
    EXPECT_THAT(series.pull(), ElementsAre(Point{1s, lowest / 2}));
}

TEST_F(CountAggregators, SumWraps) {
    SumSeries series(CountNonList{2, 3}, 0s, {lowest});
    series.feed(1s, {-1});
    EXPECT_THAT(series.pull(), ElementsAre(Point{1s, highest}));
}

TEST_F(CountAggregators, KeepTheNewestWindowsOldestFirst) {
    MinSeries series(CountNonList{1, 3}, 1s, {1});
    for (int i = 2; i <= 5; ++i)
        series.feed(i * 1s, {i});
    EXPECT_THAT(series.pull(), ElementsAre(Point{3s, 3}, Point{4s, 4}, Point{5s, 5}));
}

TEST_F(CountAggregators, TimePlaysNoPart) {
    MinSeries series(CountNonList{2, 3}, 10s, {1});
    EXPECT_THAT(series.pull(1'000'000s), IsEmpty());
    series.feed(5s, {2});
    EXPECT_THAT(series.pull(0s), ElementsAre(Point{5s, 1}));
}

TEST_F(CountAggregators, PullTwiceGivesTheSame) {
    SumSeries series(CountNonList{1, 3}, 1s, {1});
    EXPECT_THAT(series.pull(), ElementsAre(Point{1s, 1}));
    EXPECT_THAT(series.pull(), ElementsAre(Point{1s, 1}));
}

TEST_F(CountAggregators, PullWithoutResultsAddsNothing) {
    MinSeries series(CountNonList{2, 3}, 1s, {5});
    RecordingEncoder encoder;
    series.pull(encoder);
    EXPECT_TRUE(encoder.empty());
}

TEST_F(CountAggregators, PullSaysWhoseTheResultsAre) {
    MinSeries series(CountNonList{1, 3}, 1s, {5});
    RecordingEncoder encoder;
    series.pull(encoder);
    EXPECT_EQ(encoder.collections().measurementcollections(0).id(), 7U);
    EXPECT_THAT(encoder.contexts(), ElementsAre("rfBranch=1"));
}

template <typename SeriesType>
std::string describe() {
    SeriesType series(CountNonList{1, 3}, 1s, {5});
    RecordingEncoder encoder;
    series.pull(encoder);
    return encoder.collections().ShortDebugString();
}

TEST_F(CountAggregators, PullSaysHowItWasAggregated) {
    const std::string values = " { id: 7 values: 5 timestamps: 1000000000 ";
    EXPECT_EQ(describe<MinSeries>(),
              "measurementCollections" + values + "min { subtype: COUNT size: 1 } }");
    EXPECT_EQ(describe<MaxSeries>(),
              "measurementCollections" + values + "max { subtype: COUNT size: 1 } }");
    EXPECT_EQ(describe<AverageSeries>(),
              "measurementCollections" + values + "avg { subtype: COUNT size: 1 } }");
    EXPECT_EQ(describe<SumSeries>(),
              "counterCollections" + values + "sum { subtype: COUNT size: 1 } }");
}

TEST_F(CountAggregators, ReportTheSamplesPerWindowAsSize) {
    MaxSeries series(CountNonList{2, 9}, 1s, {5});
    series.feed(2s, {5});
    RecordingEncoder encoder;
    series.pull(encoder);
    EXPECT_EQ(encoder.collections().measurementcollections(0).max().size(), 2U);
}

TEST_F(CountAggregators, TakeNoCollectionForAnAnswer) {
    RecordingEncoder encoder;
    encoder.refuse();
    MinSeries(CountNonList{1, 3}, 1s, {5}).pull(encoder);
    MaxSeries(CountNonList{1, 3}, 1s, {5}).pull(encoder);
    AverageSeries(CountNonList{1, 3}, 1s, {5}).pull(encoder);
    SumSeries(CountNonList{1, 3}, 1s, {5}).pull(encoder);
    EXPECT_TRUE(encoder.empty());
}

TEST_F(CountAggregators, ClearGivesTheMemoryBackAndLeavesTheOpenWindow) {
    auto content = budget(1000);
    AverageSeries series(CountNonList{2, 3}, 1s, {1}, &content);
    series.feed(2s, {3});
    series.feed(3s, {10});
    EXPECT_EQ(content.getAllocatedSize(), resultSize);
    series.clear(3s);
    EXPECT_EQ(content.getAllocatedSize(), 0U);
    EXPECT_THAT(series.pull(), IsEmpty());
    series.feed(4s, {20});
    EXPECT_THAT(series.pull(), ElementsAre(Point{4s, 15}));
}

TEST_F(CountAggregators, RefuseOtherKindsOfSamples) {
    MinSeries min(CountNonList{1, 3}, 1s, {5});
    SumSeries sum(CountNonList{1, 3}, 1s, {5});
    EXPECT_THROW(min.get().feedValue({}, {}, CounterData{1}), std::runtime_error);
    EXPECT_THROW(min.get().feedValue({}, {}, record("r")), std::runtime_error);
    EXPECT_THROW(sum.get().feedValue({}, {}, MeasurementData{1}), std::runtime_error);
    EXPECT_THAT(min.pull(), ElementsAre(Point{1s, 5}));
}

TEST_F(CountAggregators, RefuseParametersOfOtherAggregators) {
    MinSeries series(CountNonList{1, 3}, 1s, {5});
    const auto feed = [&] {
        series.get().feedValue(AggregatorParams::CountList{1}, {}, MeasurementData{1});
    };
    EXPECT_EQ(textOf<std::bad_variant_access>(feed), "std::get: wrong index for variant");
}

TEST_F(CountAggregators, WindowOfNoSamplesStaysOpen) {
    MinSeries series(CountNonList{0, 0}, 0s, {5});
    for (int i = 0; i < 1000; ++i)
        series.feed(1s, {i});
    EXPECT_THAT(series.pull(), IsEmpty());
}

TEST_F(CountAggregators, KeepingNoWindowsThrowsOnceAndNeverClosesAgain) {
    MinSeries series(CountNonList{2, 0}, 0s, {5});
    EXPECT_EQ(textOf<std::out_of_range>([&] { series.feed(1s, {4}); }),
              "vector::_M_range_check: __n (which is 0) >= this->size() (which is 0)");
    for (int i = 0; i < 100; ++i)
        EXPECT_NO_THROW(series.feed(2s, {3}));
    EXPECT_THAT(series.pull(), IsEmpty());
}

TEST_F(CountAggregators, KeepingNoWindowsOfOneSampleGrowsUntilMemoryRunsOut) {
    // Room for 4 results while the buffer of 2 moves into that of 4, and no more.
    auto content = budget(6 * resultSize);
    SumSeries series(CountNonList{1, 0}, 1s, {1}, &content);
    for (int i = 2; i <= 6; ++i)
        series.feed(i * 1s, {i});
    EXPECT_THAT(series.pull(), ElementsAre(Point{3s, 3}, Point{4s, 4}, Point{5s, 5}, Point{6s, 6}));
    EXPECT_EQ(content.getNumFailures(), 2U);
}

TEST_F(CountAggregators, RefusedGrowthGivesUpTheOldestResult) {
    auto content = budget(resultSize);
    MinSeries series(CountNonList{1, 10}, 1s, {1}, &content);
    series.feed(2s, {2});
    EXPECT_THAT(series.pull(), ElementsAre(Point{2s, 2}));
    series.feed(3s, {3});
    EXPECT_THAT(series.pull(), ElementsAre(Point{3s, 3}));
    EXPECT_EQ(content.getAllocatedSize(), resultSize);
    EXPECT_EQ(content.getNumFailures(), 2U);
}

TEST_F(CountAggregators, HistoryGrowsOnWhenThereIsMemoryAgain) {
    auto content = budget(resultSize);
    MinSeries series(CountNonList{1, 10}, 1s, {1}, &content);
    series.feed(2s, {2});
    content.setRemainingSize(1000);
    series.feed(3s, {3});
    EXPECT_THAT(series.pull(), ElementsAre(Point{2s, 2}, Point{3s, 3}));
}

TEST_F(CountAggregators, FirstResultIsLostWithoutAnyMemory) {
    auto content = budget(0);
    SumSeries series(CountNonList{2, 10}, 1s, {1}, &content);
    series.feed(2s, {2});
    EXPECT_THAT(series.pull(), IsEmpty());
    // The window closed all the same: the next one starts from nothing.
    content.setRemainingSize(1000);
    series.feed(3s, {3});
    series.feed(4s, {4});
    EXPECT_THAT(series.pull(), ElementsAre(Point{4s, 7}));
}

TEST_F(CountAggregators, ConstructorPassesTheRefusalOfItsResultOn) {
    auto content = budget(resultSize - 1);
    EXPECT_THROW(MinSeries(CountNonList{1, 3}, 1s, {1}, &content), std::bad_alloc);
    EXPECT_THROW(MaxSeries(CountNonList{1, 3}, 1s, {1}, &content), std::bad_alloc);
    EXPECT_THROW(AverageSeries(CountNonList{1, 3}, 1s, {1}, &content), std::bad_alloc);
    EXPECT_THROW(SumSeries(CountNonList{1, 3}, 1s, {1}, &content), std::bad_alloc);
    EXPECT_EQ(content.getRemainingSize(), resultSize - 1);
}

TEST_F(CountAggregators, AllocateNothingBetweenResults) {
    auto content = budget(0);
    MinSeries series(CountNonList{1000, 3}, 1s, {1}, &content);
    for (int i = 0; i < 900; ++i)
        series.feed(2s, {2});
    EXPECT_EQ(content.getNumFailures(), 0U);
}

// Breaks in a way that isn't a refusal.
class BrokenResource : public std::pmr::memory_resource {
    void* do_allocate(std::size_t /*bytes*/, std::size_t /*alignment*/) override {
        throw std::logic_error("broken");
    }
    void do_deallocate(void* /*block*/, std::size_t /*bytes*/, std::size_t /*align*/) override {}
    bool do_is_equal(const memory_resource& other) const noexcept override {
        return this == &other;
    }
};

TEST_F(CountAggregators, PassOtherFailuresOfTheMemoryOn) {
    BrokenResource broken;
    MinSeries series(CountNonList{2, 3}, 1s, {1}, &broken);
    EXPECT_EQ(textOf<std::logic_error>([&] { series.feed(2s, {2}); }), "broken");
}

// The reference: all samples since the first, cut into windows anew at each pull.
template <typename Reduce>
class Model {
public:
    Model(CountNonList parameters, Reduce reduction) : params(parameters), reduce(reduction) {}

    void feed(Nanoseconds at, std::int64_t value) { samples.push_back({at, value}); }

    void clear() { cleared = samples.size() / params.samplesPerWindow; }

    std::vector<Point> results() const {
        std::vector<Point> all;
        for (std::size_t end = params.samplesPerWindow; end <= samples.size();
             end += params.samplesPerWindow) {
            std::vector<std::int64_t> window;
            for (std::size_t i = end - params.samplesPerWindow; i < end; ++i)
                window.push_back(samples[i].value);
            all.push_back({samples[end - 1].at, reduce(window)});
        }
        const std::size_t tooOld = all.size() > params.windows ? all.size() - params.windows : 0;
        // After a clear the history starts empty; within it, the newest windows stay.
        const std::size_t from = std::max(tooOld, cleared);
        return {all.begin() + static_cast<std::ptrdiff_t>(from), all.end()};
    }

private:
    CountNonList params;
    Reduce reduce;
    std::vector<Point> samples;
    std::size_t cleared = 0;
};

__extension__ using Wide = __int128;

std::int64_t lowOf(const std::vector<std::int64_t>& window) {
    return *std::min_element(window.begin(), window.end());
}

std::int64_t highOf(const std::vector<std::int64_t>& window) {
    return *std::max_element(window.begin(), window.end());
}

// The low 64 bits of the true sum.
std::int64_t sumOf(const std::vector<std::int64_t>& window) {
    return static_cast<std::int64_t>(std::accumulate(window.begin(), window.end(), Wide{0}));
}

std::int64_t meanOf(const std::vector<std::int64_t>& window) {
    return static_cast<std::int64_t>(Wide{sumOf(window)} / static_cast<Wide>(window.size()));
}

template <typename Class, typename T, typename Reduce>
void compareWithModel(Reduce reduce) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 random(seed);
        const CountNonList params{static_cast<std::uint32_t>(1 + random() % 5),
                                  static_cast<std::uint32_t>(1 + random() % 5)};
        // Even seeds take the whole range and wrap, odd ones stay small.
        const auto value = [&] {
            return seed % 2 == 0 ? static_cast<std::int64_t>(random())
                                 : static_cast<std::int64_t>(random() % 201) - 100;
        };
        const auto first = value();
        Series<Class, T> series(params, 0s, {first});
        Model model(params, reduce);
        model.feed(0s, first);
        for (int step = 1; step < 100; ++step) {
            const auto sample = value();
            series.feed(step * 1s, {sample});
            model.feed(step * 1s, sample);
            if (random() % 20 == 0) {
                series.clear();
                model.clear();
            }
            ASSERT_EQ(series.pull(), model.results());
        }
    }
}

TEST_F(CountAggregators, MinAgreesWithItsModel) {
    compareWithModel<CountMinAggregator, MeasurementData>(lowOf);
}

TEST_F(CountAggregators, MaxAgreesWithItsModel) {
    compareWithModel<CountMaxAggregator, MeasurementData>(highOf);
}

TEST_F(CountAggregators, AverageAgreesWithItsModel) {
    compareWithModel<CountAverageAggregator, MeasurementData>(meanOf);
}

TEST_F(CountAggregators, SumAgreesWithItsModel) {
    compareWithModel<CountSumAggregator, CounterData>(sumOf);
}

// Whatever allocation fails, the history is a run of true results that ends with the newest.
template <typename SeriesType>
std::size_t sweepSeries() {
    return sweepAllocations([](FailingResource& content) {
        try {
            SeriesType series(CountNonList{1, 6}, 1s, {1}, &content);
            for (int i = 2; i <= 12; ++i) {
                series.feed(i * 1s, {i});
                const auto points = series.pull();
                for (std::size_t age = 0; age < points.size(); ++age) {
                    const auto number = i - static_cast<int>(age);
                    ASSERT_EQ(points[points.size() - 1 - age], (Point{number * 1s, number}));
                }
                ASSERT_GE(points.size(), 1U);
            }
        } catch (const std::bad_alloc&) {
            ASSERT_EQ(content.allocations(), 1U);
        }
    });
}

TEST_F(CountAggregators, SurviveTheFailureOfEachAllocation) {
    // Buffers of 1, 2, 4 and 8 results.
    EXPECT_EQ(sweepSeries<MinSeries>(), 4U);
    EXPECT_EQ(sweepSeries<MaxSeries>(), 4U);
    EXPECT_EQ(sweepSeries<AverageSeries>(), 4U);
    EXPECT_EQ(sweepSeries<SumSeries>(), 4U);
}

}  // namespace
}  // namespace Qdx::Backend
