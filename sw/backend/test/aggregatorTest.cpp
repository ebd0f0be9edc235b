#include "aggregator.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

#include "series.hpp"

namespace Qdx::Backend {
namespace {

using Qdx::Test::record;
using Qdx::Test::textOf;

// Takes no kind of sample.
class DeafAggregator : public Aggregator {
public:
    int getGpbAggrType() const override { return -1; }
    void pullData(const AggregatorParamsVariant& /*params*/, time_point /*now*/,
                  const std::pair<InfoObjectId, std::string>& /*key*/,
                  OutputEncoderIf* /*encoder*/) override {}
    void clearData(const AggregatorParamsVariant& /*params*/, time_point /*now*/) override {}
};

TEST(Aggregator, RefusesMeasurementsUnlessOverridden) {
    DeafAggregator aggregator;
    EXPECT_EQ(textOf<std::runtime_error>(
                  [&] { aggregator.feedValue({}, {}, Qdx::V1::MeasurementData{1}); }),
              "Tried feeding a measurement to an aggregator that does not support it.");
}

TEST(Aggregator, RefusesCountersUnlessOverridden) {
    DeafAggregator aggregator;
    EXPECT_EQ(
        textOf<std::runtime_error>([&] { aggregator.feedValue({}, {}, Qdx::V1::CounterData{1}); }),
        "Tried feeding a counter to an aggregator that does not support it.");
}

TEST(Aggregator, RefusesRecordsUnlessOverridden) {
    DeafAggregator aggregator;
    EXPECT_EQ(textOf<std::runtime_error>([&] { aggregator.feedValue({}, {}, record("r")); }),
              "Tried feeding a record to an aggregator that does not support it.");
}

TEST(Aggregator, HasATextForEachMethod) {
    const std::map<AggregationMethod, std::string> texts{{AggregationMethod{0}, "average"},
                                                         {AggregationMethod{1}, "max"},
                                                         {AggregationMethod{2}, "sum"},
                                                         {AggregationMethod{3}, "min"},
                                                         {AggregationMethod{4}, "list"}};
    EXPECT_EQ(aggregationMethodTexts(), texts);
}

TEST(Aggregator, HasATextForEachPeriod) {
    const std::map<AggregationPeriod, std::string> texts{{AggregationPeriod{0}, "count"},
                                                         {AggregationPeriod{1}, "duration"}};
    EXPECT_EQ(aggregationPeriodTexts(), texts);
}

TEST(Aggregator, HasATextForEachTypeOfData) {
    const std::map<TypeOfData, std::string> texts{
        {TypeOfData{0}, "record"}, {TypeOfData{1}, "counter"}, {TypeOfData{2}, "measurement"}};
    EXPECT_EQ(typeOfDataTexts(), texts);
}

TEST(Aggregator, HasNoDataOfItsOwn) {
    EXPECT_EQ(sizeof(Aggregator), sizeof(void*));
}

TEST(AggregatorParams, StandInTheOrderThatStatementsSortBy) {
    using namespace AggregatorParams;
    EXPECT_EQ(AggregatorParamsVariant(std::monostate()).index(), 0U);
    EXPECT_EQ(AggregatorParamsVariant(DurationNonList{}).index(), 1U);
    EXPECT_EQ(AggregatorParamsVariant(DurationList{}).index(), 2U);
    EXPECT_EQ(AggregatorParamsVariant(CountNonList{}).index(), 3U);
    EXPECT_EQ(AggregatorParamsVariant(CountList{}).index(), 4U);
}

}  // namespace
}  // namespace Qdx::Backend
