#include "outputEncoderImpl.hpp"

#include <gmock/gmock.h>

#include <array>
#include <limits>
#include <stdexcept>

namespace Qdx::Backend {

namespace {

using std::chrono::nanoseconds;
using testing::ElementsAre;
using V1::CounterData;
using V1::MeasurementData;

constexpr auto minimum = std::numeric_limits<std::int64_t>::min();
constexpr auto maximum = std::numeric_limits<std::int64_t>::max();

time_point at(std::int64_t steadyNanoseconds) {
    return time_point(nanoseconds(steadyNanoseconds));
}

ClockAnchor anchor(std::int64_t steadyNanoseconds, std::int64_t wallNanoseconds) {
    return {at(steadyNanoseconds), WallTime(nanoseconds(wallNanoseconds))};
}

std::pair<InfoObjectId, std::string> key(std::uint32_t id, const std::string& context = "") {
    return {InfoObjectId{id}, context};
}

Qdx::InfoObjectCollections parsed(const std::string& bytes) {
    Qdx::InfoObjectCollections message;
    EXPECT_TRUE(message.ParseFromString(bytes));
    return message;
}

// The timestamp that an encoder with this anchor gives to a sample of this time.
std::uint64_t timestamp(const ClockAnchor& clockAnchor, std::int64_t steadyNanoseconds) {
    OutputEncoderImpl encoder(clockAnchor);
    const Samples<MeasurementData> samples{{at(steadyNanoseconds), MeasurementData{0}}};
    return encoder.addCollection(samples, key(1))->timestamps(0);
}

class OutputEncoderImplTest : public testing::Test {
protected:
    std::shared_ptr<OutputEncoderIf> encoder = OutputEncoderIf::create(anchor(0, 0));
    Samples<MeasurementData> measurements{{at(1'000'000'000), MeasurementData{5}},
                                          {at(2'000'000'000), MeasurementData{minimum}}};
    Samples<CounterData> counters{{at(3'000'000'000), CounterData{7}}};
    Samples<RecordData> records{{at(4'000'000'000), RecordData{'a', 0, 'b'}}};
};

TEST_F(OutputEncoderImplTest, NewEncoderIsEmpty) {
    EXPECT_TRUE(encoder->empty());
}

TEST_F(OutputEncoderImplTest, EncoderWithoutCollectionsBuildsTheVersionAlone) {
    EXPECT_EQ(encoder->build(), "\x08\x01");
}

TEST_F(OutputEncoderImplTest, CollectionOfMeasurementsCarriesIdTimesAndValues) {
    encoder->addCollection(measurements, key(4000000000));
    EXPECT_FALSE(encoder->empty());
    const auto message = parsed(encoder->build());
    ASSERT_EQ(message.measurementcollections_size(), 1);
    const auto& collection = message.measurementcollections(0);
    EXPECT_EQ(collection.id(), 4000000000U);
    EXPECT_THAT(collection.timestamps(), ElementsAre(1, 2));
    EXPECT_THAT(collection.values(), ElementsAre(5, minimum));
    EXPECT_EQ(message.countercollections_size() + message.recordcollections_size(), 0);
}

TEST_F(OutputEncoderImplTest, CollectionOfCountersCarriesIdTimesAndValues) {
    encoder->addCollection(counters, key(2));
    EXPECT_FALSE(encoder->empty());
    const auto message = parsed(encoder->build());
    ASSERT_EQ(message.countercollections_size(), 1);
    EXPECT_EQ(message.countercollections(0).id(), 2U);
    EXPECT_THAT(message.countercollections(0).timestamps(), ElementsAre(3));
    EXPECT_THAT(message.countercollections(0).values(), ElementsAre(7));
}

TEST_F(OutputEncoderImplTest, CollectionOfRecordsCarriesTheirBytes) {
    encoder->addCollection(records, key(3));
    EXPECT_FALSE(encoder->empty());
    const auto message = parsed(encoder->build());
    ASSERT_EQ(message.recordcollections_size(), 1);
    EXPECT_EQ(message.recordcollections(0).id(), 3U);
    EXPECT_THAT(message.recordcollections(0).timestamps(), ElementsAre(4));
    EXPECT_THAT(message.recordcollections(0).values(), ElementsAre(std::string("a\0b", 3)));
}

TEST_F(OutputEncoderImplTest, RecordsAreCopied) {
    auto* collection = encoder->addCollection(records, key(3));
    records[0].second[0] = 'x';
    records.clear();
    EXPECT_EQ(collection->values(0), std::string("a\0b", 3));
}

TEST_F(OutputEncoderImplTest, CollectionsStandInTheOrderOfAdding) {
    encoder->addCollection(measurements, key(2));
    encoder->addCollection(measurements, key(1));
    encoder->addCollection(measurements, key(2));
    const auto message = parsed(encoder->build());
    std::vector<unsigned> ids;
    for (const auto& collection : message.measurementcollections()) {
        ids.push_back(collection.id());
    }
    EXPECT_THAT(ids, ElementsAre(2, 1, 2));
}

TEST_F(OutputEncoderImplTest, CallerSaysHowTheCollectionWasAggregated) {
    auto* first = encoder->addCollection(measurements, key(1));
    for (int i = 0; i < 100; ++i) {
        encoder->addCollection(measurements, key(2));
    }
    first->mutable_max()->set_subtype(Qdx::DURATION);
    first->mutable_max()->set_size(60);
    const auto message = parsed(encoder->build());
    EXPECT_EQ(message.measurementcollections(0).max().subtype(), Qdx::DURATION);
    EXPECT_EQ(message.measurementcollections(0).max().size(), 60U);
    EXPECT_EQ(message.measurementcollections(1).aggr_case(),
              Qdx::MeasurementCollection::AGGR_NOT_SET);
}

TEST_F(OutputEncoderImplTest, EmptySamplesGiveACollectionWithoutValues) {
    encoder->addCollection(Samples<MeasurementData>(), key(1, "rfBranch=3"));
    EXPECT_FALSE(encoder->empty());
    const auto message = parsed(encoder->build());
    ASSERT_EQ(message.measurementcollections_size(), 1);
    EXPECT_EQ(message.measurementcollections(0).values_size(), 0);
    EXPECT_EQ(message.measurementcollections(0).timestamps_size(), 0);
    EXPECT_EQ(message.measurementcollections(0).context().rf_branch(), 3);
}

TEST_F(OutputEncoderImplTest, EmptyContextStringLeavesTheContextUnset) {
    EXPECT_FALSE(encoder->addCollection(measurements, key(1))->has_context());
    EXPECT_FALSE(encoder->addCollection(counters, key(1))->has_context());
    EXPECT_FALSE(encoder->addCollection(records, key(1))->has_context());
}

TEST_F(OutputEncoderImplTest, ContextStringIsDecoded) {
    const auto& context =
        encoder->addCollection(counters, key(1, "rfBranch=3,carrierId=-7"))->context();
    EXPECT_EQ(context.rf_branch(), 3);
    EXPECT_EQ(context.carrier_id(), -7);
    EXPECT_FALSE(context.has_device_id());
}

TEST_F(OutputEncoderImplTest, ContextThatCannotBeDecodedThrows) {
    constexpr auto text = "Context string no context could not be decoded.";
    EXPECT_THAT([&] { encoder->addCollection(measurements, key(1, "no context")); },
                testing::ThrowsMessage<std::runtime_error>(text));
    EXPECT_THAT([&] { encoder->addCollection(counters, key(1, "no context")); },
                testing::ThrowsMessage<std::runtime_error>(text));
    EXPECT_THAT([&] { encoder->addCollection(records, key(1, "no context")); },
                testing::ThrowsMessage<std::runtime_error>(text));
}

TEST_F(OutputEncoderImplTest, CollectionStaysAfterItsContextFailed) {
    EXPECT_THROW(encoder->addCollection(measurements, key(9, "nonsense")), std::runtime_error);
    EXPECT_FALSE(encoder->empty());
    const auto message = parsed(encoder->build());
    ASSERT_EQ(message.measurementcollections_size(), 1);
    const auto& collection = message.measurementcollections(0);
    EXPECT_EQ(collection.id(), 9U);
    EXPECT_FALSE(collection.has_context());
    EXPECT_EQ(collection.values_size(), 0);
    EXPECT_EQ(collection.aggr_case(), Qdx::MeasurementCollection::AGGR_NOT_SET);
}

TEST_F(OutputEncoderImplTest, CollectionOfCountersStaysAfterItsContextFailed) {
    EXPECT_THROW(encoder->addCollection(counters, key(9, "nonsense")), std::runtime_error);
    EXPECT_FALSE(encoder->empty());
    const auto message = parsed(encoder->build());
    ASSERT_EQ(message.countercollections_size(), 1);
    const auto& collection = message.countercollections(0);
    EXPECT_EQ(collection.id(), 9U);
    EXPECT_FALSE(collection.has_context());
    EXPECT_EQ(collection.timestamps_size() + collection.values_size(), 0);
    EXPECT_EQ(collection.aggr_case(), Qdx::CounterCollection::AGGR_NOT_SET);
}

TEST_F(OutputEncoderImplTest, CollectionOfRecordsStaysAfterItsContextFailed) {
    EXPECT_THROW(encoder->addCollection(records, key(9, "nonsense")), std::runtime_error);
    EXPECT_FALSE(encoder->empty());
    const auto message = parsed(encoder->build());
    ASSERT_EQ(message.recordcollections_size(), 1);
    const auto& collection = message.recordcollections(0);
    EXPECT_EQ(collection.id(), 9U);
    EXPECT_FALSE(collection.has_context());
    EXPECT_EQ(collection.timestamps_size() + collection.values_size(), 0);
    EXPECT_FALSE(collection.has_list());
}

TEST_F(OutputEncoderImplTest, MetaDataAloneLeavesTheEncoderEmpty) {
    Qdx::RadioMetaData metaData;
    metaData.set_hwname("radio");
    encoder->addMetaData(metaData);
    EXPECT_TRUE(encoder->empty());
    EXPECT_EQ(parsed(encoder->build()).radiometadata().hwname(), "radio");
}

TEST_F(OutputEncoderImplTest, EmptyMetaDataIsPresent) {
    EXPECT_FALSE(parsed(encoder->build()).has_radiometadata());
    encoder->addMetaData({});
    EXPECT_TRUE(parsed(encoder->build()).has_radiometadata());
}

TEST_F(OutputEncoderImplTest, LaterMetaDataMerges) {
    Qdx::RadioMetaData first;
    first.set_hwname("radio");
    first.set_hwserialnumber("1");
    Qdx::RadioMetaData second;
    second.set_hwserialnumber("2");
    encoder->addMetaData(first);
    encoder->addMetaData(second);
    const auto merged = parsed(encoder->build()).radiometadata();
    EXPECT_EQ(merged.hwname(), "radio");
    EXPECT_EQ(merged.hwserialnumber(), "2");
    EXPECT_FALSE(merged.has_swproductnumber());
}

TEST_F(OutputEncoderImplTest, MetaDataOfAnyBytesLeavesStandardErrorAlone) {
    Qdx::RadioMetaData metaData;
    metaData.set_hwname("\xff");
    encoder->addMetaData(metaData);
    testing::internal::CaptureStderr();
    EXPECT_THAT(encoder->build(), testing::HasSubstr("\xff"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(OutputEncoderImplTest, BuildChangesNothingAndMayBeRepeated) {
    encoder->addCollection(counters, key(1));
    const auto first = encoder->build();
    EXPECT_EQ(encoder->build(), first);
    encoder->addCollection(counters, key(2));
    EXPECT_EQ(parsed(encoder->build()).countercollections_size(), 2);
}

TEST_F(OutputEncoderImplTest, WireHasEachValueUnderATagOfItsOwn) {
    encoder->addCollection(measurements, key(1));
    const auto bytes = encoder->build();
    constexpr std::array<unsigned char, 23> expected{0x08, 0x01, 0x12, 0x13, 0x08, 0x01, 0x10, 0x05,
                                                     0x10, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
                                                     0x80, 0x80, 0x01, 0x18, 0x01, 0x18, 0x02};
    EXPECT_EQ(bytes, std::string(expected.begin(), expected.end()));
}

TEST(OutputEncoderTimeTest, SecondsAreCutOff) {
    EXPECT_EQ(timestamp(anchor(0, 1'000'000'000'000), 1'500'000'000), 1001U);
    EXPECT_EQ(timestamp(anchor(500, 1'000'000'000'000), 1'000'000'499), 1000U);
    EXPECT_EQ(timestamp(anchor(500, 1'000'000'000'000), 1'000'000'500), 1001U);
}

TEST(OutputEncoderTimeTest, EarlierThanTheAnchorIsSmaller) {
    EXPECT_EQ(timestamp(anchor(5'000'000'000, 1'000'000'000'000), 3'000'000'000), 998U);
}

TEST(OutputEncoderTimeTest, TimeBelowTheEpochIsCutTowardZero) {
    EXPECT_EQ(timestamp(anchor(0, 0), -999'999'999), 0U);
    EXPECT_EQ(timestamp(anchor(0, 0), -1'999'999'999), std::numeric_limits<std::uint64_t>::max());
}

TEST(OutputEncoderTimeTest, ExtremeTimesWrap) {
    EXPECT_EQ(timestamp(anchor(minimum, 0), maximum), 0U);
    EXPECT_EQ(timestamp(anchor(maximum, maximum), minimum),
              static_cast<std::uint64_t>(minimum / 1'000'000'000));
}

}  // namespace

}  // namespace Qdx::Backend
