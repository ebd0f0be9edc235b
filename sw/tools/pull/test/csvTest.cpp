#include "csv.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace Qdx::Pull {
namespace {

class CsvTest : public testing::Test {
protected:
    Qdx::MeasurementCollection& addMeasurement(std::int64_t value) {
        auto& collection = *message.add_measurementcollections();
        collection.set_id(7);
        collection.add_values(value);
        return collection;
    }

    void addRecord(const std::string& bytes) {
        auto& collection = *message.add_recordcollections();
        collection.set_id(7);
        collection.add_values(bytes);
    }

    void knowObject(const CatalogueObject& object) { catalogue = Catalogue({{7, object}}); }

    std::string rows() const {
        std::ostringstream out;
        writeCsv(out, message, catalogue);
        return out.str();
    }

    Qdx::InfoObjectCollections message;
    Catalogue catalogue;
};

TEST_F(CsvTest, GivesTheRawValueOfAnUnknownObjectAlone) {
    addMeasurement(-5);
    EXPECT_EQ(rows(), ",7,,,measurement,,,,-5,,,\n");
}

TEST_F(CsvTest, GivesWhatTheCatalogueKnows) {
    addMeasurement(-5);
    knowObject({"a:b", "dBm", "0.1", "", {"X", "Y"}});
    EXPECT_EQ(rows(), ",7,a:b,X Y,measurement,,-0.5,dBm,-5,,,\n");
}

TEST_F(CsvTest, GivesAKnownObjectWithoutUnitItsRawValue) {
    addMeasurement(-5);
    knowObject({"a:b", "", "", "", {}});
    EXPECT_EQ(rows(), ",7,a:b,,measurement,,-5,,-5,,,\n");
}

TEST_F(CsvTest, GivesTimeContextAndAggregation) {
    auto& collection = addMeasurement(5);
    collection.add_timestamps(1'714'557'600);
    collection.mutable_context()->set_rf_branch(3);
    collection.mutable_avg()->set_size(10);
    EXPECT_EQ(rows(), "2024-05-01T10:00:00Z,7,,,measurement,rfBranch=3,,,5,average,count,10\n");
}

TEST_F(CsvTest, QuotesAContextOfSeveralKeys) {
    auto& collection = addMeasurement(5);
    collection.mutable_context()->set_rf_branch(3);
    collection.mutable_context()->set_carrier_id(4);
    EXPECT_EQ(rows(), ",7,,,measurement,\"rfBranch=3,carrierId=4\",,,5,,,\n");
}

TEST_F(CsvTest, QuotesCommasQuotesAndLineEnds) {
    addMeasurement(5);
    for (const std::string special : {",", "\r", "\n"}) {
        knowObject({"a" + special, special + "b", "", "", {}});
        EXPECT_EQ(rows(), ",7,\"a" + special + "\",,measurement,,5,\"" + special + "b\",5,,,\n");
    }
    knowObject({"a\"b", "\"", "", "", {}});
    EXPECT_EQ(rows(), ",7,\"a\"\"b\",,measurement,,5,\"\"\"\",5,,,\n");
}

TEST_F(CsvTest, LeavesTheTimeOfValuesWithoutTimestampEmpty) {
    addMeasurement(5).add_timestamps(0);
    message.mutable_measurementcollections(0)->add_values(6);
    EXPECT_EQ(rows(),
              "1970-01-01T00:00:00Z,7,,,measurement,,,,5,,,\n"
              ",7,,,measurement,,,,6,,,\n");
}

TEST_F(CsvTest, HasNoRowForATimestampWithoutValue) {
    message.add_countercollections()->add_timestamps(5);
    EXPECT_EQ(rows(), "");
}

TEST_F(CsvTest, GivesSecondsWhereNoYearFits) {
    addMeasurement(5).add_timestamps(18'446'744'073'709'551'615U);
    EXPECT_EQ(rows(), "18446744073709551615,7,,,measurement,,,,5,,,\n");
}

TEST_F(CsvTest, GivesBytesOfRecordsAsBase64) {
    addRecord("\xFF\xFE");
    EXPECT_EQ(rows(), ",7,,,record,,,,//4=,,,\n");
}

TEST_F(CsvTest, GivesRecordsOfAKnownTypeAsJsonToo) {
    addRecord("\x08\x07");
    knowObject({"a", "", "", "CarrierEvent", {}});
    EXPECT_EQ(rows(), ",7,a,,record,,\"{\"\"carrierId\"\":7}\",,CAc=,,,\n");
}

TEST_F(CsvTest, GivesRecordsThatAreNoneOfTheirTypeAsBase64Alone) {
    addRecord("\xFF");
    knowObject({"a", "", "", "CarrierEvent", {}});
    EXPECT_EQ(rows(), ",7,a,,record,,,,/w==,,,\n");
}

TEST_F(CsvTest, LeavesTheValuePastTheRangeOfNumbersEmpty) {
    addMeasurement(9'223'372'036'854'775'807);
    knowObject({"a", "", "1e300", "", {}});
    EXPECT_EQ(rows(), ",7,a,,measurement,,,,9223372036854775807,,,\n");
}

}  // namespace
}  // namespace Qdx::Pull
