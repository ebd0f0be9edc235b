#include "pull/table.hpp"

#include <gmock/gmock.h>

#include <sstream>

#include "temporaryFolder.hpp"

namespace Qdx::Pull {
namespace {

using testing::HasSubstr;
using testing::Not;

class TableTest : public testing::Test {
protected:
    Qdx::MeasurementCollection& addMeasurement(std::uint32_t id,
                                               const std::vector<std::int64_t>& values) {
        auto* const collection = message.add_measurementcollections();
        collection->set_id(id);
        collection->mutable_max()->set_size(10);
        for (const auto value : values) {
            collection->add_values(value);
            collection->add_timestamps(1'714'557'600);
        }
        return *collection;
    }

    void knowObject(const std::string& id, const std::string& name, const std::string& unit,
                    const std::string& resolution) {
        const auto path = folder.write(
            "list.xml", "<infoObjectList><objects><object id=\"" + id + "\" name=\"" + name +
                            "\" type=\"meas\"><unit type=\"" + unit + "\" res=\"" + resolution +
                            "\"/></object></objects></infoObjectList>");
        catalogue = Catalogue::read(path);
    }

    std::string shown(std::size_t width = 100, Glyphs glyphs = Glyphs::Unicode) const {
        std::ostringstream out;
        printTable(out, message, catalogue, {width, glyphs});
        return out.str();
    }

    // The columns of the last line's last column.
    static std::size_t widthOfPlot(const std::string& text) {
        return columns(text.substr(text.rfind("  ") + 2)) - std::string("\n").size();
    }

    TemporaryFolder folder;
    Qdx::InfoObjectCollections message;
    Catalogue catalogue;
};

TEST_F(TableTest, ShowsRadioSummaryAndRows) {
    auto* const radio = message.mutable_radiometadata();
    radio->set_hwname("unit-1");
    radio->set_hwserialnumber("S42");
    radio->set_hwproductnumber("HW 1");
    radio->set_hwproductrevision("R1");
    radio->set_swproductnumber("SW 2");
    radio->set_swproductrevision("R2");
    auto& collection = addMeasurement(7, {100, 250, 300});
    collection.mutable_context()->set_rf_branch(3);
    collection.mutable_context()->set_carrier_id(7);
    collection.clear_timestamps();
    collection.add_timestamps(1'714'557'600);
    collection.add_timestamps(1'714'557'610);
    knowObject("7", "a:power", "dBm", "0.01");
    EXPECT_EQ(shown(),
              "Radio: unit-1, serial number S42, hardware HW 1 revision R1, software SW 2 revision "
              "R2\n"
              "1 series, 3 values, 2024-05-01 10:00:00 to 10:00:10 UTC\n"
              "\n"
              "NAME     CONTEXT                 AGGREGATION   VALUES  NEWEST              PLOT\n"
              "a:power  rfBranch=3,carrierId=7  max count 10       3  3.00 2.50 1.00 dBm  ▁▇█\n");
}

TEST_F(TableTest, ShowsTheIdOfAnUnknownObject) {
    addMeasurement(4711, {5});
    EXPECT_THAT(shown(), HasSubstr("\n4711           max count 10       1  5       ▁\n"));
}

TEST_F(TableTest, ScalesCountersToo) {
    auto* const collection = message.add_countercollections();
    collection->set_id(7);
    collection->add_values(5);
    knowObject("7", "a", "kB", "0.5");
    EXPECT_THAT(shown(), HasSubstr(" 2.5 kB "));
}

TEST_F(TableTest, ShowsRecordsWithoutPlot) {
    auto* const collection = message.add_recordcollections();
    collection->set_id(7);
    collection->add_values("ab");
    collection->mutable_list()->set_size(3);
    EXPECT_THAT(shown(), HasSubstr("\n7              list count 3       1  2 bytes 6162\n"));
}

TEST_F(TableTest, AlignsColumnsOfTextWithWideCharacters) {
    addMeasurement(7, {1, 2});
    addMeasurement(8, {1, 2});
    knowObject("7", "µµ:temperature", "°C", "1");
    EXPECT_THAT(shown(), HasSubstr("\nµµ:temperature           max count 10       2  2 1 °C  ▁█\n"
                                   "8                        max count 10       2  2 1     ▁█\n"));
}

TEST_F(TableTest, UsesNothingButAsciiWhenAsked) {
    message.mutable_radiometadata()->set_hwname("unité");
    addMeasurement(7, {1, 2});
    knowObject("7", "température", "°C", "1");
    const auto text = shown(100, Glyphs::Ascii);
    EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char byte) { return byte > 0; })) << text;
    EXPECT_THAT(text, HasSubstr("_#"));
}

TEST_F(TableTest, GivesThePlotWhatTheLineHasLeft) {
    addMeasurement(7, std::vector<std::int64_t>(100, 5));
    constexpr std::size_t textWidth = 45;
    EXPECT_EQ(widthOfPlot(shown(textWidth + 20)), 20U);
    EXPECT_EQ(widthOfPlot(shown(textWidth + 8)), 8U);
}

TEST_F(TableTest, BoundsThePlotOnAWideTerminal) {
    addMeasurement(7, std::vector<std::int64_t>(100, 5));
    EXPECT_EQ(widthOfPlot(shown(1000)), 40U);
}

TEST_F(TableTest, ShowsFewerNewestValuesBeforeThePlotSuffers) {
    addMeasurement(7, {111111, 222222, 333333});
    EXPECT_THAT(shown(75), HasSubstr("  333333 222222 111111  ▁▅█\n"));
    EXPECT_THAT(shown(74), HasSubstr("  333333 222222  ▁▅█\n"));
    EXPECT_THAT(shown(67), HasSubstr("  333333  ▁▅█\n"));
}

TEST_F(TableTest, LeavesThePlotOutOnANarrowTerminal) {
    addMeasurement(7, {111111, 222222, 333333});
    EXPECT_THAT(shown(40), HasSubstr("  333333\n"));
    EXPECT_THAT(shown(40), Not(HasSubstr("PLOT")));
}

TEST_F(TableTest, CutsNamesAndUnitsThatHaveNoEnd) {
    addMeasurement(7, {1});
    knowObject("7", std::string(1000, 'n'), std::string(1000, 'u'), "1");
    EXPECT_THAT(shown(), HasSubstr("\n" + std::string(47, 'n') + "…  "));
    EXPECT_THAT(shown(), HasSubstr(" 1 " + std::string(15, 'u') + "…"));
}

TEST_F(TableTest, LetsNoInputSteerTheTerminal) {
    message.mutable_radiometadata()->set_hwname("\x1b[2J\n");
    message.mutable_radiometadata()->set_hwserialnumber("\xFF");
    EXPECT_THAT(shown(), HasSubstr("Radio: ?[2J?, serial number ?\n"));
}

TEST_F(TableTest, ShowsAPullWithoutCollections) {
    EXPECT_EQ(shown(), "Radio: unknown\n0 series, 0 values\n");
}

TEST_F(TableTest, ShowsACollectionWithoutValues) {
    message.add_measurementcollections();
    EXPECT_THAT(shown(), HasSubstr("\n0              ?                 0\n"));
}

}  // namespace
}  // namespace Qdx::Pull
