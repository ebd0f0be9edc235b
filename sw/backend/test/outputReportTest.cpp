#include <gmock/gmock.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <sstream>
#include <string>

#include "carrierEvent.pb.h"
#include "golden.hpp"
#include "infoObjectListIf.hpp"
#include "outputEncoderImpl.hpp"
#include "registerInfo.pb.h"
#include "unitRoot.hpp"

namespace Qdx::Backend {

namespace {

using std::chrono::seconds;
using V1::CounterData;
using V1::MeasurementData;

constexpr auto header =
    "\ntimestamp, name (tags), context, value, unit, aggr, aggrtype, aggrparams\n";

// One catalogue for all tests of this file, since a process reads its catalogue once.
constexpr auto catalogue = R"(<infoObjectList>
  <tags><tag name="a"/><tag name="b"/></tags>
  <objects>
    <object id="0" name="zero" type="meas"><unit type="V" res="1"/></object>
    <object id="1" name="name" type="meas"><unit type="unit" res="0.1"/><tags>b a</tags></object>
    <object id="2" name="whole" type="meas"><unit type="1" res="1"/></object>
    <object id="3" name="bare" type="meas"/>
    <object id="4" name="odd" type="meas"><unit type="odd" res="none"/></object>
    <object id="5" name="packets" type="counter"><unit type="packets" res="0.5"/><tags>a</tags></object>
    <object id="6" name="carrier" type="record"><type message="some.CarrierEvent.V1"/></object>
    <object id="7" name="dump" type="record"><type message="RegisterInfo"/></object>
    <object id="8" name="both" type="record"><type message="RegisterInfo CarrierEvent"/></object>
    <object id="9" name="neither" type="record"><type message="carrierevent"/></object>
    <object id="10" name="hexadecimal" type="meas"><unit type="" res="0x1p-1"/></object>
    <object id="11" name="endless" type="meas"><unit type="" res="inf"/></object>
    <object id="12" name="indented" type="meas"><unit type="" res="  0.5"/></object>
    <object id="13" name="electron" type="meas"><unit type="" res="0.5eV"/></object>
    <object id="14" name="huge" type="meas"><unit type="" res="1e999"/></object>
  </objects>
</infoObjectList>)";

time_point at(std::int64_t second) {
    return time_point(seconds(second));
}

std::pair<InfoObjectId, std::string> key(std::uint32_t id, const std::string& context = "") {
    return {InfoObjectId{id}, context};
}

Samples<MeasurementData> levels(std::initializer_list<std::int64_t> values) {
    Samples<MeasurementData> samples;
    std::int64_t second = 0;
    for (const auto value : values) {
        samples.emplace_back(at(second++), MeasurementData{value});
    }
    return samples;
}

RecordData asRecord(const std::string& bytes) {
    return {bytes.begin(), bytes.end()};
}

Qdx::Records::CarrierEvent carrierEvent() {
    Qdx::Records::CarrierEvent event;
    event.set_carrier_id(3);
    event.set_kind(Qdx::Records::CarrierEvent::ACTIVATED);
    event.set_power_mdbm(-5);
    event.set_reason("operator");
    return event;
}

Qdx::Records::RegisterInfo registerInfo() {
    Qdx::Records::RegisterInfo info;
    info.set_block("pll");
    info.set_cause(Qdx::Records::RegisterInfo::FAULT);
    auto* first = info.add_registers();
    first->set_offset(4);
    first->set_value(255);
    return info;
}

// Moves the process to a time zone for a scope.
class TimeZone {
public:
    explicit TimeZone(const std::string& zone) {
        if (const char* current = std::getenv("TZ"); current != nullptr) {
            previous = current;
        }
        setenv("TZ", zone.c_str(), 1);
        tzset();
    }
    ~TimeZone() {
        if (previous) {
            setenv("TZ", previous->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    std::optional<std::string> previous;
};

class OutputReportTest : public testing::Test {
protected:
    OutputReportTest() {
        root.writeCatalogue(catalogue);
        InfoObjectListIf::getInstance();
    }

    std::string print(std::optional<unsigned int> limit = std::nullopt) {
        std::ostringstream out;
        encoder.print(out, limit);
        return out.str();
    }

    // The value and unit columns of the only row.
    std::string valueAndUnit() {
        const auto text = print();
        const auto start = text.find("), '{}', ");
        const auto end = text.rfind("'INVALID'");
        EXPECT_NE(start, std::string::npos) << text;
        EXPECT_NE(end, std::string::npos) << text;
        return text.substr(start + 9, end - start - 9);
    }

    std::string shownMeasurement(std::uint32_t id, std::int64_t value) {
        encoder.addCollection(levels({value}), key(id));
        return valueAndUnit();
    }

    std::string shownRecord(std::uint32_t id, const std::string& bytes) {
        const Samples<RecordData> samples{{at(0), asRecord(bytes)}};
        encoder.addCollection(samples, key(id));
        return valueAndUnit();
    }

    Qdx::Test::UnitRoot root;
    OutputEncoderImpl encoder{ClockAnchor(at(0), WallTime(seconds(1614837907)))};
};

TEST_F(OutputReportTest, EncoderWithoutCollectionsWritesNothing) {
    encoder.addMetaData({});
    EXPECT_EQ(print(), "");
}

TEST_F(OutputReportTest, RowHasAllColumns) {
    auto* collection = encoder.addCollection(levels({123}), key(1));
    collection->mutable_min()->set_subtype(Qdx::COUNT);
    collection->mutable_min()->set_size(10);
    EXPECT_EQ(print(), std::string(header) +
                           "'2021-03-04 06:05:07', 'name' (a,b), '{}', '12.3', 'unit', 'min', "
                           "'count', '10'\n");
}

TEST_F(OutputReportTest, PrintChangesNothing) {
    encoder.addCollection(levels({1}), key(1, "carrierId=3"));
    const auto before = encoder.build();
    const auto text = print();
    EXPECT_EQ(print(), text);
    EXPECT_EQ(encoder.build(), before);
}

TEST_F(OutputReportTest, ContextIsJson) {
    encoder.addCollection(levels({1}), key(1, "carrierId=3"));
    EXPECT_THAT(print(), testing::HasSubstr("(a,b), '{\"carrierId\":3}', '0.1'"));
}

TEST_F(OutputReportTest, ContextWithoutFieldsLooksLikeNone) {
    encoder.addCollection(levels({1}), key(1))->mutable_context();
    EXPECT_THAT(print(), testing::HasSubstr("(a,b), '{}', '0.1'"));
}

TEST_F(OutputReportTest, MeasurementIsScaledByItsResolution) {
    EXPECT_EQ(shownMeasurement(1, 123), "'12.3', 'unit', ");
}

TEST_F(OutputReportTest, NegativeMeasurementKeepsItsSign) {
    EXPECT_EQ(shownMeasurement(1, -5), "'-0.5', 'unit', ");
}

TEST_F(OutputReportTest, MeasurementHasSixDigits) {
    EXPECT_EQ(shownMeasurement(2, 1234567), "'1.23457e+06', '1', ");
}

TEST_F(OutputReportTest, MeasurementWithoutResolutionShowsZero) {
    EXPECT_EQ(shownMeasurement(3, 77), "'0', '', ");
}

TEST_F(OutputReportTest, MeasurementWithUnreadableResolutionShowsZero) {
    EXPECT_EQ(shownMeasurement(4, 77), "'0', 'odd', ");
}

TEST_F(OutputReportTest, ResolutionMayBeHexadecimal) {
    EXPECT_EQ(shownMeasurement(10, 3), "'1.5', '', ");
}

TEST_F(OutputReportTest, ResolutionMayBeInfinite) {
    EXPECT_EQ(shownMeasurement(11, -3), "'-inf', '', ");
}

TEST_F(OutputReportTest, ResolutionTooLargeIsInfinite) {
    EXPECT_EQ(shownMeasurement(14, 1), "'inf', '', ");
}

TEST_F(OutputReportTest, BlanksBeforeAResolutionAreSkipped) {
    EXPECT_EQ(shownMeasurement(12, 3), "'1.5', '', ");
}

// Also one that looks like the start of an exponent.
TEST_F(OutputReportTest, TextBehindAResolutionIsIgnored) {
    EXPECT_EQ(shownMeasurement(13, 3), "'1.5', '', ");
}

TEST_F(OutputReportTest, CounterIsNeitherScaledNorHasAUnit) {
    const Samples<CounterData> samples{{at(0), CounterData{1234567}}};
    encoder.addCollection(samples, key(5));
    EXPECT_EQ(valueAndUnit(), "'1234567', '', ");
}

TEST_F(OutputReportTest, CarrierEventIsSpeltOut) {
    EXPECT_EQ(shownRecord(6, carrierEvent().SerializeAsString()),
              R"('{"carrierId":3,"kind":"ACTIVATED","powerMdbm":-5,"reason":"operator"}', '', )");
}

TEST_F(OutputReportTest, RegisterInfoIsSpeltOut) {
    EXPECT_EQ(
        shownRecord(7, registerInfo().SerializeAsString()),
        R"('{"block":"pll","cause":"FAULT","registers":[{"offset":4,"value":"255"}]}', '', )");
}

TEST_F(OutputReportTest, CarrierEventGoesBeforeRegisterInfo) {
    EXPECT_EQ(shownRecord(8, carrierEvent().SerializeAsString()),
              R"('{"carrierId":3,"kind":"ACTIVATED","powerMdbm":-5,"reason":"operator"}', '', )");
}

TEST_F(OutputReportTest, RecordOfAnotherTypeIsInvalid) {
    EXPECT_EQ(shownRecord(9, "x"), "'{INVALID RECORD TYPE}', '', ");
}

TEST_F(OutputReportTest, CutRecordShowsWhatCouldBeParsed) {
    EXPECT_EQ(shownRecord(6, "\x08\x03\x80"), R"('{"carrierId":3}', '', )");
}

TEST_F(OutputReportTest, TextsOfAnyBytesLeaveStandardErrorAlone) {
    testing::internal::CaptureStderr();
    shownRecord(6, "\x32\x01\xff");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(OutputReportTest, EmptyRecordIsAnEmptyMessage) {
    EXPECT_EQ(shownRecord(6, ""), "'{}', '', ");
}

TEST_F(OutputReportTest, CollectionsOfOneObjectShareAHeader) {
    encoder.addCollection(levels({1}), key(1, "carrierId=1"));
    encoder.addCollection(levels({2}), key(1, "carrierId=2"));
    const auto text = print();
    EXPECT_EQ(text.rfind(header), 0U);
    EXPECT_THAT(text, testing::EndsWith("'{\"carrierId\":2}', '0.2', 'unit', 'INVALID', \n"));
}

TEST_F(OutputReportTest, ObjectAfterAnotherGetsASecondHeader) {
    for (const auto id : {1U, 2U, 1U}) {
        encoder.addCollection(levels({}), key(id));
    }
    EXPECT_EQ(print(), std::string(header) + header + header);
}

TEST_F(OutputReportTest, HeaderCarriesOnFromOneKindToTheNext) {
    encoder.addCollection(levels({}), key(5));
    encoder.addCollection(Samples<CounterData>(), key(5));
    encoder.addCollection(Samples<RecordData>(), key(5));
    EXPECT_EQ(print(), header);
}

TEST_F(OutputReportTest, ObjectZeroAtTheBeginningHasNoHeader) {
    encoder.addCollection(levels({1}), key(0));
    EXPECT_EQ(print(), "'2021-03-04 06:05:07', 'zero' (), '{}', '1', 'V', 'INVALID', \n");
}

TEST_F(OutputReportTest, ObjectZeroAfterAnotherHasAHeader) {
    encoder.addCollection(levels({}), key(1));
    encoder.addCollection(levels({}), key(0));
    EXPECT_EQ(print(), std::string(header) + header);
}

TEST_F(OutputReportTest, LimitKeepsTheLastRowsOfEachCollection) {
    encoder.addCollection(levels({1, 2, 3}), key(2));
    encoder.addCollection(levels({4}), key(2));
    const auto text = print(2);
    EXPECT_THAT(text, testing::Not(testing::HasSubstr("'1', '1'")));
    EXPECT_THAT(text, testing::HasSubstr("'2021-03-04 06:05:08', 'whole' (), '{}', '2', '1'"));
    EXPECT_THAT(text, testing::HasSubstr("'3', '1'"));
    EXPECT_THAT(text, testing::HasSubstr("'4', '1'"));
}

TEST_F(OutputReportTest, LimitOfTheNumberOfValuesOrMoreKeepsAll) {
    encoder.addCollection(levels({1, 2, 3}), key(2));
    const auto all = print();
    EXPECT_EQ(print(3), all);
    EXPECT_EQ(print(4), all);
    EXPECT_EQ(print(4294967295U), all);
}

TEST_F(OutputReportTest, LimitOfZeroWritesOnlyHeaders) {
    encoder.addCollection(levels({1, 2, 3}), key(2));
    EXPECT_EQ(print(0), header);
}

TEST_F(OutputReportTest, CollectionWithoutAggregatorEndsInInvalid) {
    encoder.addCollection(levels({1}), key(2));
    EXPECT_THAT(print(), testing::EndsWith("'1', '1', 'INVALID', \n"));
}

TEST_F(OutputReportTest, ListOfAnyKindHasItsText) {
    const auto setList = [](auto* collection) {
        collection->mutable_list()->set_subtype(Qdx::COUNT);
        collection->mutable_list()->set_size(10);
    };
    setList(encoder.addCollection(levels({1}), key(2)));
    EXPECT_THAT(print(), testing::EndsWith("'list', 'count', '10'\n"));
    const Samples<CounterData> counters{{at(0), CounterData{1}}};
    setList(encoder.addCollection(counters, key(5)));
    EXPECT_THAT(print(), testing::EndsWith("'1', '', 'list', 'count', '10'\n"));
    const Samples<RecordData> records{{at(0), RecordData{}}};
    setList(encoder.addCollection(records, key(9)));
    EXPECT_THAT(print(), testing::EndsWith("TYPE}', '', 'list', 'count', '10'\n"));
}

TEST_F(OutputReportTest, ListWithoutASizeIsStillAList) {
    const Samples<RecordData> records{{at(0), RecordData{}}};
    encoder.addCollection(records, key(9))->mutable_list();
    EXPECT_THAT(print(), testing::EndsWith("TYPE}', '', 'list', 'count', '0'\n"));
}

TEST_F(OutputReportTest, EachAggregatorHasItsText) {
    const auto last = [this](auto* scope) {
        scope->set_subtype(Qdx::DURATION);
        scope->set_size(60);
        return print();
    };
    EXPECT_THAT(last(encoder.addCollection(levels({1}), key(2))->mutable_min()),
                testing::EndsWith("'min', 'duration', '60'\n"));
    EXPECT_THAT(last(encoder.addCollection(levels({1}), key(2))->mutable_max()),
                testing::EndsWith("'max', 'duration', '60'\n"));
    EXPECT_THAT(last(encoder.addCollection(levels({1}), key(2))->mutable_avg()),
                testing::EndsWith("'average', 'duration', '60'\n"));
    const Samples<CounterData> counters{{at(0), CounterData{1}}};
    EXPECT_THAT(last(encoder.addCollection(counters, key(5))->mutable_sum()),
                testing::EndsWith("'sum', 'duration', '60'\n"));
}

TEST_F(OutputReportTest, ObjectOutsideTheCatalogueIsLeftOut) {
    encoder.addCollection(levels({1}), key(99));
    EXPECT_EQ(print(), "");
}

TEST_F(OutputReportTest, TimeWhoseYearCannotBeToldLeavesItsColumnOut) {
    std::stringstream row;
    encoder.printTime(0x7fffffffffffffff, row);
    EXPECT_EQ(row.str(), "");
}

TEST_F(OutputReportTest, YearsFromTenThousandOnHaveAllTheirDigits) {
    std::stringstream row;
    encoder.printTime(253402300799, row);
    encoder.printTime(253402300800, row);
    EXPECT_EQ(row.str(), "'9999-12-31 23:59:59', '10000-01-01 00:00:00', ");
}

TEST_F(OutputReportTest, TimeIsInUtc) {
    const TimeZone tokyo("JST-9");
    const std::time_t epoch = 0;
    ASSERT_EQ(std::localtime(&epoch)->tm_hour, 9);
    std::stringstream row;
    encoder.printTime(0, row);
    EXPECT_EQ(row.str(), "'1970-01-01 00:00:00', ");
}

TEST_F(OutputReportTest, TimeBelowTheEpochIsADateBefore1970) {
    std::stringstream row;
    encoder.printTime(static_cast<unsigned long>(-1L), row);
    EXPECT_EQ(row.str(), "'1969-12-31 23:59:59', ");
}

// An encoder with words of its own for the tags.
class NumberedTags final : public OutputEncoderImpl {
public:
    using OutputEncoderImpl::OutputEncoderImpl;
    void printTags(const InfoObject& object, std::stringstream& row) const override {
        row << "' (" << object.getTags().size() << "), ";
    }
};

TEST_F(OutputReportTest, DerivedEncoderMayPrintTagsInItsOwnWay) {
    NumberedTags numbered{ClockAnchor(at(0), WallTime(seconds(0)))};
    numbered.addCollection(levels({1}), key(1));
    std::ostringstream out;
    numbered.print(out, std::nullopt);
    EXPECT_THAT(out.str(), testing::HasSubstr(", 'name' (2), '{}', "));
}

TEST_F(OutputReportTest, TagsAreJoinedByCommas) {
    std::stringstream row;
    encoder.printTags({InfoObjectId{1}, "n", InfoObjectType::Record, "", "", "", {"y", "x", "z"}},
                      row);
    EXPECT_EQ(row.str(), "' (x,y,z), ");
}

TEST_F(OutputReportTest, ObjectWithoutTagsHasEmptyParentheses) {
    std::stringstream row;
    encoder.printTags({InfoObjectId{1}, "n", InfoObjectType::Record, "", "", "", {}}, row);
    EXPECT_EQ(row.str(), "' (), ");
}

TEST_F(OutputReportTest, ContextColumnHasItsDelimiters) {
    Qdx::InfoObjectContext context;
    context.set_macro_rf_port(0);
    context.set_carrier_id(3);
    std::stringstream row;
    encoder.printContext(context, row);
    EXPECT_EQ(row.str(), R"('{"macroRfPort":0,"carrierId":3}', )");
}

TEST_F(OutputReportTest, SubTypesHaveTheirTexts) {
    std::ostringstream out;
    out << Qdx::COUNT << " " << Qdx::DURATION << " " << static_cast<Qdx::AggrSubType>(3);
    EXPECT_EQ(out.str(), "count duration INVALID_VALUE(3)");
}

TEST_F(OutputReportTest, AnUnknownSubTypeIsANumberInDecimalOnAnyStream) {
    std::ostringstream out;
    out << std::hex << std::showbase << static_cast<Qdx::AggrSubType>(26);
    EXPECT_EQ(out.str(), "INVALID_VALUE(26)");
}

class OutputReportGoldenTest : public OutputReportTest {
protected:
    OutputReportGoldenTest() {
        auto* minima = encoder.addCollection(levels({123, -45, 1234567890}), key(1, "rfBranch=0"));
        minima->mutable_min()->set_subtype(Qdx::COUNT);
        minima->mutable_min()->set_size(10);
        auto* maxima = encoder.addCollection(levels({1, 2}), key(1, "rfBranch=1,carrierId=7"));
        maxima->mutable_max()->set_subtype(Qdx::DURATION);
        maxima->mutable_max()->set_size(60);
        auto* averages = encoder.addCollection(levels({5}), key(2));
        averages->mutable_avg()->set_subtype(Qdx::COUNT);
        averages->mutable_avg()->set_size(3);
        encoder.addCollection(levels({6}), key(1));
        addCounters();
        addRecords();
    }

    void addCounters() {
        const Samples<CounterData> samples{{at(0), CounterData{0}},
                                           {at(86400), CounterData{9'000'000'000}}};
        auto* sums = encoder.addCollection(samples, key(5, "deviceId=2"));
        sums->mutable_sum()->set_subtype(Qdx::DURATION);
        sums->mutable_sum()->set_size(3600);
    }

    void addRecords() {
        const Samples<RecordData> events{{at(0), asRecord(carrierEvent().SerializeAsString())},
                                         {at(1), asRecord("")}};
        const Samples<RecordData> dumps{{at(2), asRecord(registerInfo().SerializeAsString())}};
        for (auto* list :
             {encoder.addCollection(events, key(6, "carrierId=3")),
              encoder.addCollection(dumps, key(7)), encoder.addCollection(dumps, key(9))}) {
            list->mutable_list()->set_subtype(Qdx::COUNT);
            list->mutable_list()->set_size(100);
        }
    }
};

TEST_F(OutputReportGoldenTest, WholeReport) {
    Qdx::Test::expectGolden("report.txt", print());
}

TEST_F(OutputReportGoldenTest, ReportOfTheLastRows) {
    Qdx::Test::expectGolden("reportLimit1.txt", print(1));
}

}  // namespace

}  // namespace Qdx::Backend
