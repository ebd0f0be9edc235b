#include "series.hpp"

#include <gmock/gmock.h>

namespace Qdx::Pull {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Series, TakesIdAndValuesInOrder) {
    Qdx::InfoObjectCollections message;
    auto* const collection = message.add_measurementcollections();
    collection->set_id(7);
    collection->add_values(-3);
    collection->add_values(5);
    const auto all = seriesOf(message);
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].id, 7U);
    EXPECT_EQ(all[0].size(), 2U);
    EXPECT_THAT(all[0].numbers, ElementsAre(-3, 5));
    EXPECT_THAT(all[0].records, IsEmpty());
}

TEST(Series, ComeAsMeasurementsCountersRecords) {
    Qdx::InfoObjectCollections message;
    message.add_recordcollections()->set_id(3);
    message.add_countercollections()->set_id(2);
    message.add_measurementcollections()->set_id(1);
    const auto all = seriesOf(message);
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[0].id, 1U);
    EXPECT_EQ(all[1].id, 2U);
    EXPECT_EQ(all[2].id, 3U);
}

TEST(Series, TakesRecordsAsBytes) {
    Qdx::InfoObjectCollections message;
    auto* const collection = message.add_recordcollections();
    collection->add_values(std::string("\0a", 2));
    collection->mutable_list()->set_size(5);
    const auto all = seriesOf(message);
    EXPECT_THAT(all.at(0).records, ElementsAre(std::string("\0a", 2)));
    EXPECT_EQ(all[0].size(), 1U);
    EXPECT_EQ(all[0].aggregation, "list count 5");
}

TEST(Series, TellsTheContextInTheOrderOfItsFields) {
    Qdx::InfoObjectCollections message;
    auto* const context = message.add_measurementcollections()->mutable_context();
    context->set_carrier_id(-7);
    context->set_rf_branch(3);
    context->set_aas_rf_port_row(0);
    EXPECT_EQ(seriesOf(message).at(0).context, "aasRfPortRow=0,rfBranch=3,carrierId=-7");
}

TEST(Series, TellsEveryKeyOfAContext) {
    Qdx::InfoObjectCollections message;
    auto* const context = message.add_countercollections()->mutable_context();
    context->set_macro_rf_port(1);
    context->set_aas_rf_port_row(2);
    context->set_aas_rf_port_column(3);
    context->set_aas_rf_port_polarization(4);
    context->set_rf_branch(5);
    context->set_carrier_id(6);
    context->set_dfe_id(7);
    context->set_client_id(8);
    context->set_device_id(9);
    EXPECT_EQ(seriesOf(message).at(0).context,
              "macroRfPort=1,aasRfPortRow=2,aasRfPortColumn=3,aasRfPortPolarization=4,rfBranch=5,"
              "carrierId=6,dfeId=7,clientId=8,deviceId=9");
}

TEST(Series, HasNoContextTextWithoutContextOrWithAnEmptyOne) {
    Qdx::InfoObjectCollections message;
    message.add_measurementcollections();
    message.add_measurementcollections()->mutable_context();
    const auto all = seriesOf(message);
    EXPECT_EQ(all.at(0).context, "");
    EXPECT_EQ(all.at(1).context, "");
}

TEST(Series, TellsTheAggregationOfMeasurements) {
    Qdx::InfoObjectCollections message;
    message.add_measurementcollections()->mutable_min()->set_size(1);
    message.add_measurementcollections()->mutable_max()->set_size(2);
    message.add_measurementcollections()->mutable_avg()->set_size(3);
    message.add_measurementcollections()->mutable_list()->set_size(4);
    message.mutable_measurementcollections(2)->mutable_avg()->set_subtype(Qdx::DURATION);
    message.mutable_measurementcollections(3)->mutable_list()->set_subtype(Qdx::COUNT);
    const auto all = seriesOf(message);
    EXPECT_EQ(all.at(0).aggregation, "min count 1");
    EXPECT_EQ(all.at(1).aggregation, "max count 2");
    EXPECT_EQ(all.at(2).aggregation, "average duration 3");
    EXPECT_EQ(all.at(3).aggregation, "list count 4");
}

TEST(Series, TellsTheAggregationOfCounters) {
    Qdx::InfoObjectCollections message;
    auto* const sum = message.add_countercollections()->mutable_sum();
    sum->set_subtype(Qdx::DURATION);
    sum->set_size(4294967295);
    message.add_countercollections()->mutable_list()->set_size(9);
    const auto all = seriesOf(message);
    EXPECT_EQ(all.at(0).aggregation, "sum duration 4294967295");
    EXPECT_EQ(all.at(1).aggregation, "list count 9");
}

TEST(Series, ShowsAnAggregationThatIsNotTold) {
    Qdx::InfoObjectCollections message;
    message.add_measurementcollections();
    message.add_countercollections();
    message.add_recordcollections();
    for (const auto& series : seriesOf(message)) {
        EXPECT_EQ(series.aggregation, "?");
    }
}

TEST(Series, AreNoneOfAMessageWithoutCollections) {
    EXPECT_THAT(seriesOf({}), IsEmpty());
}

TEST(TimeSpan, ReachesOverAllKindsOfCollections) {
    Qdx::InfoObjectCollections message;
    message.add_measurementcollections()->add_timestamps(20);
    message.add_countercollections()->add_timestamps(10);
    message.mutable_countercollections(0)->add_timestamps(15);
    message.add_recordcollections()->add_timestamps(30);
    const auto span = timeSpanOf(message);
    ASSERT_TRUE(span);
    EXPECT_EQ(span->first, 10U);
    EXPECT_EQ(span->last, 30U);
}

TEST(TimeSpan, IsEmptyWithoutTimestamps) {
    Qdx::InfoObjectCollections message;
    message.add_measurementcollections()->add_values(1);
    EXPECT_FALSE(timeSpanOf(message));
}

}  // namespace
}  // namespace Qdx::Pull
