// A unit whose configuration prescribes filters, as its operator meets it: what the shell says of
// them, when they collect, and the reports of those that may be printed.
#include "carrierEvent.pb.h"
#include "golden.hpp"
#include "registerInfo.pb.h"
#include "support/collector.hpp"

namespace {

using namespace Qdx::V1;
using namespace TestSupport;

const char* const radioObjects = R"(<infoObjectList>
    <tags><tag name="POWER"/><tag name="TRAFFIC"/><tag name="EVENT"/></tags>
    <objects>
        <object id="7" name="tx:power:mean" type="meas">
            <tags>POWER</tags><unit type="dBm" res="0.1"/></object>
        <object id="8" name="tx:power:peak" type="meas">
            <tags>POWER</tags><unit type="dBm" res="0.1"/></object>
        <object id="9" name="rx:packets" type="counter">
            <tags>TRAFFIC</tags><unit type="packets" res="1"/></object>
        <object id="10" name="carrier:event" type="record">
            <tags>EVENT POWER</tags><type message="CarrierEvent"/></object>
        <object id="11" name="pll:registers" type="record">
            <tags>EVENT</tags><type message="RegisterInfo"/></object>
        <object id="12" name="vendor:blob" type="record">
            <tags>EVENT</tags><type message="Blob"/></object>
    </objects></infoObjectList>)";

const std::string enabledUnit = "enabled = 1\nradioObservabilityEnabled = 1\n";
const std::string radioFilter = R"(
    [qdx.staticFilters]
    enabledByDefault = ["radio"]
    printable = ["radio"]
    radio = ["dch", "limit 100000",
             "dch", "tags POWER max count 2 10", "list count 3",
             "dch", "tags TRAFFIC sum count 2 10",
             "dch", "tags EVENT list duration 3600"]
)";
const Answer noDataYet{2, "Not enough data yet or not enough filter memory\n"};

class StaticFilterTest : public CollectorTest {
protected:
    StaticFilterTest() {
        std::ofstream(unit.path() / "objects.xml") << radioObjects;
        writeDatabase(enabledUnit + radioFilter);
    }

    // A batch with samples of every kind, in two contexts.
    static void sendSamples() {
        Frontend::sendMetaData();
        BatchWriter batch(ozo_get_max_size());
        for (const std::int64_t power : {431, 428, -5, 12345678}) {
            EXPECT_TRUE(batch.addMeasurement("tx:power:mean", "rfBranch=0,carrierId=7", {power}));
            EXPECT_TRUE(batch.addMeasurement("tx:power:mean", "rfBranch=1", {power + 1}));
            EXPECT_TRUE(batch.addMeasurement("tx:power:peak", "", {power + 2}));
        }
        EXPECT_TRUE(batch.addCounter("rx:packets", "deviceId=2", {40}));
        EXPECT_TRUE(batch.addCounter("rx:packets", "deviceId=2", {2}));
        addRecord(batch, "carrier:event", carrierEvent());
        addRecord(batch, "pll:registers", registerInfo());
        addRecord(batch, "vendor:blob", "\x01\x02");
        Frontend::send(batch.take());
        Frontend::awaitHandled();
    }

    // A report without the wall clock.
    static Answer printed(const std::string& line) {
        const auto answer = type(line);
        const std::regex time("'[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}'");
        return {answer.status, std::regex_replace(answer.output, time, "'time'")};
    }

private:
    static void addRecord(BatchWriter& batch, const std::string& name, const std::string& bytes) {
        const std::vector<unsigned char> value(bytes.begin(), bytes.end());
        EXPECT_TRUE(batch.addRecord(name, "carrierId=7", value));
    }

    static std::string carrierEvent() {
        Qdx::Records::CarrierEvent event;
        event.set_carrier_id(7);
        event.set_kind(Qdx::Records::CarrierEvent::RECONFIGURED);
        event.set_frequency_hz(3'550'000'000);
        event.set_bandwidth_hz(20'000'000);
        event.set_power_mdbm(43'000);
        event.set_reason("it's \"cold\"");
        return event.SerializeAsString();
    }

    static std::string registerInfo() {
        Qdx::Records::RegisterInfo info;
        info.set_block("pll");
        info.set_base_address(0x4000'0000);
        info.set_cause(Qdx::Records::RegisterInfo::FAULT);
        auto* lock = info.add_registers();
        lock->set_offset(4);
        lock->set_value(0xFF);
        lock->set_name("lock");
        return info.SerializeAsString();
    }
};

TEST_F(StaticFilterTest, CollectsOnlyAfterItsFirstPull) {
    startCollector();
    const Frontend frontend;
    sendSamples();
    EXPECT_EQ(type("dch filter pull keep radio"), noDataYet);
    sendSamples();
    EXPECT_THAT(decode(type("dch filter pull keep radio").output),
                testing::HasSubstr("counterCollections {\n  id: 9\n  values: 42\n"));
}

TEST_F(StaticFilterTest, CollectsAfterItsFirstReportAsWell) {
    startCollector();
    const Frontend frontend;
    sendSamples();
    EXPECT_EQ(type("rodc print radio"), noDataYet);
    sendSamples();
    EXPECT_EQ(type("rodc print radio").status, 0);
}

TEST_F(StaticFilterTest, PrintableFilterIsListedByRodcAlone) {
    startCollector();
    EXPECT_EQ(type("dch filter status"), (Answer{0, "No filters found\n"}));
    EXPECT_EQ(type("rodc list"),
              (Answer{0,
                      "Current Filter(s):\n"
                      " Filter radio (11): Enabled: Yes, FilterTag(s): POWER, TRAFFIC, EVENT\n"
                      "  name (tags)\n\n"}));
}

TEST_F(StaticFilterTest, ListNamesTheGroupsOfCapturedObjects) {
    startCollector();
    const Frontend frontend;
    type("rodc print radio");
    sendSamples();
    EXPECT_EQ(type("rodc list"),
              (Answer{0,
                      "Current Filter(s):\n"
                      " Filter radio (11): Enabled: Yes, FilterTag(s): POWER, TRAFFIC, EVENT\n"
                      "  name (tags)\n"
                      "   tx:power (POWER)\n"
                      "   rx (TRAFFIC)\n"
                      "   carrier (EVENT POWER)\n"
                      "   pll (EVENT)\n"
                      "   vendor (EVENT)\n\n"}));
}

class ReportGoldenTest : public StaticFilterTest {
protected:
    void SetUp() override {
        startCollector();
        type("rodc print radio");
        sendSamples();
    }

    const Frontend frontend;
};

TEST_F(ReportGoldenTest, PrintByName) {
    const auto report = printed("rodc print radio");
    EXPECT_EQ(report.status, 0);
    Qdx::Test::expectGolden("print.txt", report.output);
    EXPECT_EQ(printed("rodc print 11"), report);
}

TEST_F(ReportGoldenTest, ShowOfTheLastRows) {
    const auto report = printed("rodc show 1");
    EXPECT_EQ(report.status, 0);
    Qdx::Test::expectGolden("showOne.txt", report.output);
}

TEST_F(ReportGoldenTest, ShowOfNoRowsHasHeaders) {
    const auto report = printed("rodc show 0");
    EXPECT_EQ(report.status, 0);
    Qdx::Test::expectGolden("showNone.txt", report.output);
}

TEST_F(ReportGoldenTest, ShowBeyond32BitsShowsAll) {
    EXPECT_EQ(printed("rodc show 99999999999999999999"), printed("rodc print radio"));
}

TEST_F(StaticFilterTest, RodcRefusesWhatItCannotPrint) {
    startCollector();
    const Answer invalid{1, "Invalid command\n"};
    const Answer unknown{1, "No entry with this filterID\n"};
    EXPECT_EQ(type("rodc print"), invalid);
    EXPECT_EQ(type("rodc print a b"), invalid);
    EXPECT_EQ(type("rodc show many"), invalid);
    EXPECT_EQ(type("rodc print missing"), unknown);
    type("dch fs create limit 0");
    type("dch fs add 1 list count 1");
    EXPECT_EQ(type("dch fs commit 1"), (Answer{0, "Filter ID is: 12\n"}));
    EXPECT_EQ(type("rodc print 12"), (Answer{2, "No entry with this filterID\n"}));
}

TEST_F(StaticFilterTest, ShowWithoutAPrintableFilterFindsNone) {
    writeDatabase(enabledUnit);
    startCollector();
    EXPECT_EQ(type("rodc show 5"), (Answer{2, "No entry with this filterID\n"}));
}

TEST_F(StaticFilterTest, DisabledFilterIsNotPrinted) {
    startCollector();
    type("dch filter disable radio");
    EXPECT_EQ(type("rodc print radio"), (Answer{2, "This filter is disabled\n"}));
    EXPECT_EQ(type("rodc list"),
              (Answer{0,
                      "Current Filter(s):\n"
                      " Filter radio (11): Enabled: No, FilterTag(s): POWER, TRAFFIC, EVENT\n"}));
}

TEST_F(StaticFilterTest, StaticFilterIsNotDeleted) {
    startCollector();
    EXPECT_EQ(type("dch filter delete radio"), (Answer{0, "Cannot delete static filters\n"}));
    EXPECT_EQ(type("dch filter deleteAll"),
              (Answer{0, "Deleting all filters except static filters\n"}));
    EXPECT_EQ(type("rodc print radio"), noDataYet);
}

TEST_F(StaticFilterTest, EveryRowOfADisabledRodcSaysSo) {
    const Answer rodcDisabled{
        1,
        "Since radio observability data collection is disabled, the functionality for this command "
        "is disabled.\n"};
    for (const auto* database : {"enabled = 1\n", "enabled = 0\nradioObservabilityEnabled = 1\n"}) {
        writeDatabase(database);
        startCollector();
        EXPECT_EQ(type("rodc list"), rodcDisabled);
        EXPECT_EQ(type("rodc print radio"), rodcDisabled);
        EXPECT_EQ(type("rodc show many"), rodcDisabled);
        EXPECT_EQ(stopCollector(), 0);
    }
}

}  // namespace
