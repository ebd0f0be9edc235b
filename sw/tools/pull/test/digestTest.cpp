#include "pull/digest.hpp"

#include <gmock/gmock.h>

#include "carrierEvent.pb.h"

namespace Qdx::Pull {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DigestTest : public testing::Test {
protected:
    Qdx::MeasurementCollection& addMeasurement(std::uint32_t id,
                                               const std::vector<std::int64_t>& values) {
        auto& collection = *message.add_measurementcollections();
        collection.set_id(id);
        collection.mutable_max()->set_size(10);
        for (const auto value : values) {
            collection.add_values(value);
            collection.add_timestamps(1'000 + static_cast<std::uint64_t>(value));
        }
        return collection;
    }

    PullDigest digest(Glyphs glyphs = Glyphs::Unicode) const {
        return digestOf(message, Catalogue(objects), glyphs);
    }

    Qdx::InfoObjectCollections message;
    std::map<std::uint32_t, CatalogueObject> objects;
};

TEST_F(DigestTest, TellsTheNewestValueWithItsUnitAndTime) {
    objects[7] = {
        .name = "cpu:load", .unit = "%", .resolution = "0.1", .messageType = "", .tags = {}};
    addMeasurement(7, {3, 9, 5}).mutable_context()->set_rf_branch(2);
    const auto series = digest().series.at(0);
    EXPECT_EQ(series.name, "cpu:load");
    EXPECT_EQ(series.context, "rfBranch=2");
    EXPECT_EQ(series.aggregation, "max count 10");
    EXPECT_EQ(series.newest, "0.5 %");
    EXPECT_EQ(series.newestTime, 1'005U);
    EXPECT_EQ(series.values, 3U);
    EXPECT_THAT(series.numbers, ElementsAre(3, 9, 5));
}

TEST_F(DigestTest, NamesAnUnknownObjectByItsNumber) {
    addMeasurement(7, {1});
    EXPECT_EQ(digest().series.at(0).name, "7");
}

TEST_F(DigestTest, TellsWhatTheNewestRecordSays) {
    objects[9] = {
        .name = "link", .unit = "", .resolution = "", .messageType = "CarrierEvent", .tags = {}};
    Qdx::Records::CarrierEvent event;
    event.set_carrier_name("eth0");
    event.set_kind(Qdx::Records::CarrierEvent::FAILED);
    auto& collection = *message.add_recordcollections();
    collection.set_id(9);
    collection.add_values(event.SerializeAsString());
    const auto series = digest().series.at(0);
    EXPECT_EQ(series.newest, "eth0 FAILED");
    EXPECT_EQ(series.newestTime, std::nullopt);
    EXPECT_THAT(series.numbers, IsEmpty());
}

TEST_F(DigestTest, ASeriesWithoutValuesHasNoNewest) {
    addMeasurement(7, {});
    EXPECT_EQ(digest().series.at(0).newest, "");
    EXPECT_EQ(plotOf(digest().series.at(0), 10, Glyphs::Unicode), "");
}

TEST_F(DigestTest, PlotsTheNewestNumbers) {
    addMeasurement(7, {100, 0, 7, 0});
    EXPECT_EQ(plotOf(digest().series.at(0), 3, Glyphs::Unicode), "▁█▁");
    EXPECT_EQ(plotOf(digest().series.at(0), 9, Glyphs::Ascii), "#___");
}

TEST_F(DigestTest, NoTextCanSteerTheTerminal) {
    objects[7] = {.name = "a\x1b[2J\xC2\x9B\xFF",
                  .unit = "\n\t",
                  .resolution = "",
                  .messageType = "",
                  .tags = {}};
    message.mutable_radiometadata()->set_hwname("\x1b]0;title\x07");
    addMeasurement(7, {1});
    const auto plain = digest();
    EXPECT_EQ(plain.radio, "?]0;title?");
    EXPECT_EQ(plain.series.at(0).name, "a?[2J??");
    EXPECT_EQ(plain.series.at(0).newest, "1 ??");
}

TEST_F(DigestTest, AsciiTextsHaveNoOtherCharacters) {
    objects[7] = {.name = "µ", .unit = "°C", .resolution = "", .messageType = "", .tags = {}};
    addMeasurement(7, {1});
    EXPECT_EQ(digest(Glyphs::Ascii).series.at(0).name, "?");
}

TEST_F(DigestTest, KeepsABoundedPartOfAnyPullAndCountsTheWhole) {
    objects[1] = {.name = std::string(100'000, 'n'),
                  .unit = "",
                  .resolution = "",
                  .messageType = "",
                  .tags = {}};
    for (std::uint32_t i = 0; i < 6'000; ++i) {
        addMeasurement(i, {1, 2});
    }
    addMeasurement(1, std::vector<std::int64_t>(1'000, 4));
    const auto kept = digest();
    EXPECT_EQ(kept.series.size(), 5'000U);
    EXPECT_EQ(kept.seriesCount, 6'001U);
    EXPECT_EQ(kept.values, 13'000U);
    EXPECT_EQ(columns(kept.series.at(1).name), 200U);
    message.mutable_measurementcollections()->DeleteSubrange(0, 6'000);
    EXPECT_EQ(digest().series.at(0).numbers.size(), 64U);
}

TEST_F(DigestTest, NamesTheRadioByWhatItTells) {
    EXPECT_EQ(digest().radio, "");
    message.mutable_radiometadata()->set_hwserialnumber("S1");
    EXPECT_EQ(digest().radio, "S1");
    message.mutable_radiometadata()->set_hwname("mast");
    EXPECT_EQ(digest().radio, "mast S1");
}

}  // namespace
}  // namespace Qdx::Pull
