// The frontend protocol: what the collector makes of messages.
#include <gmock/gmock.h>
#include <google/protobuf/util/json_util.h>

#include <chrono>
#include <functional>
#include <limits>
#include <sstream>

#include "InfoObjectCollections.pb.h"
#include "batch.hpp"
#include "batchMessage.hpp"
#include "bigEndian.hpp"
#include "frontendMessages.hpp"
#include "heapFault.hpp"
#include "infoObjectListIf.hpp"
#include "parsedStatement.hpp"
#include "quardex.hpp"
#include "tessel/util.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"
#include "wireFormat.hpp"

namespace Qdx::Backend {
namespace {

using Qdx::Test::Batch;
using Qdx::Test::BatchMessage;
using Qdx::Test::messageOf;
using Qdx::Test::TraceRecorder;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Trace::Level;
using Bytes = std::vector<unsigned char>;

const char* const catalogue = R"(<infoObjectList><objects>
    <object id="1" name="meas" type="meas"/>
    <object id="2" name="meas2" type="meas"/>
    <object id="3" name="count" type="counter"/>
    <object id="4" name="rec" type="record"/>
</objects></infoObjectList>)";

std::vector<std::string> errors() {
    return TraceRecorder::instance().texts(Level::Error);
}

std::shared_ptr<ozo_msg> metaDataMessage(const RadioMetaData& metaData) {
    return {V1::toOzoMessage(V1::encodeMetaData({}, metaData)), ozo_free};
}

// The metadata as the base64 text of its message.
std::string textOf(const RadioMetaData& metaData) {
    const auto message = V1::encodeMetaData({}, metaData);
    return {message.begin() + V1::headerSize, message.end() - 1};
}

// A collector with one filter that lists everything, on the test's thread.
class QuardexMessagesTest : public testing::Test {
protected:
    QuardexMessagesTest() {
        root.writeCatalogue(catalogue);
        collector.allocateGlobalMemory();
        collector.determineMaxNumberOfFilters();
        collector.createFilter(FilterId{1}, "all", Qdx::Test::parsedAll({"list count 100"}), 0,
                               Enabled::Yes, Static::No, Printable::No);
        TraceRecorder::instance().clear();
    }

    void handle(const BatchMessage& batch) {
        collector.handleBeProcessBatchesUreq(batch.message().get());
    }

    void handle(Batch batch) { collector.handleBeProcessBatchesUreq(batch.message().get()); }

    void handleMetaData(const RadioMetaData& metaData) {
        collector.handleBeProcessMetaDataUreq(metaDataMessage(metaData).get());
    }

    void handleMetaDataText(const std::string& text) {
        Bytes behind(8);
        behind.insert(behind.end(), text.begin(), text.end());
        behind.push_back(0);
        collector.handleBeProcessMetaDataUreq(messageOf(V1::beProcessMetaDataUreq, behind).get());
    }

    InfoObjectCollections held() {
        const auto encoder = OutputEncoderIf::create({time_point{}, WallTime{}});
        collector.prepareFilterData(FilterId{1}, Clear::No, encoder.get());
        InfoObjectCollections collections;
        EXPECT_TRUE(collections.ParseFromString(encoder->build()));
        return collections;
    }

    // The metadata of a pull, as its bytes.
    std::string pulledMetaData() {
        handle(Batch().measurement("meas", 1));
        std::string output;
        EXPECT_EQ(collector.pullFilterData(FilterId{1}, Clear::No, output), ErrorType::NoError);
        InfoObjectCollections collections;
        EXPECT_TRUE(collections.ParseFromString(output));
        return collections.radiometadata().SerializeAsString();
    }

    Qdx::Test::UnitRoot root;
    Quardex collector;
};

// Fixed-size histories that don't grow any more: every sample replaces another.
TEST_F(QuardexMessagesTest, SamplesOfKnownKeysAllocateNothing) {
    for (std::int64_t id = 2; id < 5; ++id) {
        collector.createFilter(
            FilterId{id}, "full",
            Qdx::Test::parsedAll({"min count 1 3 max count 1 3 average count 2 4 list count 4",
                                  "sum count 1 3 list count 2"}),
            0, Enabled::Yes, Static::No, Printable::No);
    }
    collector.disableFilter(FilterId{1});
    Batch batch;
    for (std::int64_t value = 0; value < 50; ++value) {
        batch.measurement("meas", value, "rfBranch=1").counter("count", value, "carrierId=12345");
    }
    const auto message = batch.message();
    collector.handleBeProcessBatchesUreq(message.get());

    const Qdx::Test::HeapFault counting(std::numeric_limits<std::size_t>::max());
    collector.handleBeProcessBatchesUreq(message.get());
    EXPECT_EQ(counting.allocations(), 0);
}

RadioMetaData allSix() {
    RadioMetaData metaData;
    metaData.set_swproductnumber("sw");
    metaData.set_swproductrevision("R1");
    metaData.set_hwproductnumber("hw");
    metaData.set_hwproductrevision("R2");
    metaData.set_hwserialnumber("123");
    metaData.set_hwname("radio");
    return metaData;
}

std::string errorOfNull(const std::function<void()>& handle) {
    try {
        handle();
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "no error";
}

TEST_F(QuardexMessagesTest, NullMessageThrowsTheHandlersName) {
    EXPECT_EQ(errorOfNull([&] { collector.handleBeConnectionReq(nullptr); }),
              "Null pointer in handleBeConnectionReq");
    EXPECT_EQ(errorOfNull([&] { collector.handleBeProcessMetaDataUreq(nullptr); }),
              "Null pointer in handleBeProcessMetaDataUreq");
    EXPECT_EQ(errorOfNull([&] { collector.handleBeProcessBatchesUreq(nullptr); }),
              "Null pointer in handleBeProcessBatchesUreq");
    EXPECT_THAT(TraceRecorder::instance().lines(), IsEmpty()) << "nothing else happens";
}

// --- Batches -----------------------------------------------------------------------------------

TEST_F(QuardexMessagesTest, ItemsOfAllSectionsReachTheFilter) {
    handle(Batch()
               .measurement("meas", -5, "rfBranch=1")
               .counter("count", 7)
               .record("rec", {1, 2, 3}, "carrierId=2"));
    const auto collections = held();
    ASSERT_EQ(collections.measurementcollections_size(), 1);
    EXPECT_EQ(collections.measurementcollections(0).id(), 1);
    EXPECT_EQ(collections.measurementcollections(0).context().rf_branch(), 1);
    EXPECT_THAT(collections.measurementcollections(0).values(), ElementsAre(-5));
    ASSERT_EQ(collections.countercollections_size(), 1);
    EXPECT_EQ(collections.countercollections(0).id(), 3);
    EXPECT_FALSE(collections.countercollections(0).has_context());
    EXPECT_THAT(collections.countercollections(0).values(), ElementsAre(7));
    ASSERT_EQ(collections.recordcollections_size(), 1);
    EXPECT_EQ(collections.recordcollections(0).id(), 4);
    EXPECT_EQ(collections.recordcollections(0).context().carrier_id(), 2);
    EXPECT_THAT(collections.recordcollections(0).values(), ElementsAre("\x01\x02\x03"));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(QuardexMessagesTest, ValuesAreBigEndianAndSigned) {
    const auto least = std::numeric_limits<std::int64_t>::min();
    const auto greatest = std::numeric_limits<std::int64_t>::max();
    handle(BatchMessage()
               .measurement("meas", least)
               .measurement("meas", greatest)
               .measurementOfSize("meas", 8, {0, 0, 0, 0, 0, 0, 1, 2}));
    EXPECT_THAT(held().measurementcollections(0).values(), ElementsAre(least, greatest, 258));
}

TEST_F(QuardexMessagesTest, EmptyBatchDoesNothing) {
    handle(Batch());
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_EQ(held().measurementcollections_size(), 0);
}

TEST_F(QuardexMessagesTest, EmptyBatchStillAsksForTheCatalogue) {
    handle(Batch());
    EXPECT_EQ(TraceRecorder::instance().count(Level::Info, "Entering InfoObjectListImpl"), 1);
}

TEST_F(QuardexMessagesTest, UnknownNameIsSkippedSilently) {
    handle(Batch().measurement("nobody", 1).measurement("meas", 2).record("x", {1}));
    EXPECT_THAT(held().measurementcollections(0).values(), ElementsAre(2));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(QuardexMessagesTest, NameOfAnotherTypeIsSkippedSilently) {
    handle(Batch()
               .measurement("count", 1)
               .measurement("meas", 2)
               .counter("meas", 3)
               .counter("rec", 4)
               .counter("count", 5)
               .record("meas", {6})
               .record("rec", {7}));
    const auto collections = held();
    EXPECT_THAT(collections.measurementcollections(0).values(), ElementsAre(2));
    EXPECT_THAT(collections.countercollections(0).values(), ElementsAre(5));
    EXPECT_THAT(collections.recordcollections(0).values(), ElementsAre("\x07"));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(QuardexMessagesTest, RecordOfSizeZeroIsAnEmptyRecord) {
    handle(BatchMessage().record("rec", {}));
    EXPECT_THAT(held().recordcollections(0).values(), ElementsAre(""));
}

// A key text with a blank behind its word puts the size one byte earlier, onto the NUL.
TEST_F(QuardexMessagesTest, KeyWithATrailingBlankJoinsTheHistoryOfItsWord) {
    collector.createFilter(FilterId{1}, "full", Qdx::Test::parsedAll({"list count 3"}), 0,
                           Enabled::Yes, Static::No, Printable::No);
    handle(BatchMessage()
               .measurement("meas", 1)
               .measurement("meas", 2)
               .measurement("meas", 3)
               .measurement("meas", 4)
               .measurementOfSize("meas ", 8 << 8, {0, 0, 0, 0, 0, 0, 5})
               .measurement("meas", 6));
    EXPECT_THAT(held().measurementcollections(0).values(), ElementsAre(4, 5, 6));
    EXPECT_THAT(errors(), IsEmpty());
}

// What comes past the messages finds full histories in order, wherever batches left them.
TEST_F(QuardexMessagesTest, SampleThatIsHandedOverDirectlyFollowsThoseOfBatches) {
    collector.createFilter(FilterId{1}, "full", Qdx::Test::parsedAll({"list count 3"}), 0,
                           Enabled::Yes, Static::No, Printable::No);
    Batch batch;
    for (std::int64_t value = 1; value <= 4; ++value) {
        batch.measurement("meas", value).counter("count", value);
    }
    const auto message = batch.message();
    const auto& objects = InfoObjectListIf::getInstance();

    collector.handleBeProcessBatchesUreq(message.get());
    collector.handleMeasurement(*objects.getInfoObject("meas"), "", V1::MeasurementData{5});
    EXPECT_THAT(held().measurementcollections(0).values(), ElementsAre(3, 4, 5));

    collector.handleBeProcessBatchesUreq(message.get());
    collector.handleCounter(*objects.getInfoObject("count"), "", V1::CounterData{5});
    EXPECT_THAT(held().countercollections(0).values(), ElementsAre(3, 4, 5));
}

TEST_F(QuardexMessagesTest, WrongMeasurementSizeDropsTheRestAndKeepsWhatCameBefore) {
    handle(BatchMessage()
               .measurement("meas", 1)
               .measurementOfSize("meas", 4, {0, 0, 0, 2})
               .measurement("meas", 3)
               .counter("count", 4)
               .record("rec", {5}));
    const auto collections = held();
    EXPECT_THAT(collections.measurementcollections(0).values(), ElementsAre(1));
    EXPECT_EQ(collections.countercollections_size(), 0);
    EXPECT_EQ(collections.recordcollections_size(), 0);
    EXPECT_THAT(errors(), ElementsAre("Incorrect measurement data size: 4"));
}

TEST_F(QuardexMessagesTest, WrongCounterSizeHasATextOfItsOwn) {
    handle(BatchMessage()
               .measurement("meas", 1)
               .counter("count", 2)
               .counterOfSize("count", 9, Bytes(9))
               .record("rec", {5}));
    const auto collections = held();
    EXPECT_THAT(collections.measurementcollections(0).values(), ElementsAre(1));
    EXPECT_THAT(collections.countercollections(0).values(), ElementsAre(2));
    EXPECT_EQ(collections.recordcollections_size(), 0);
    EXPECT_THAT(errors(), ElementsAre("Incorrect measurement data size:9"));
}

TEST_F(QuardexMessagesTest, WrongSizeOfAnUnknownNameDropsTheRestToo) {
    handle(BatchMessage().measurementOfSize("nobody", 7, Bytes(7)).measurement("meas", 1));
    EXPECT_EQ(held().measurementcollections_size(), 0);
    EXPECT_THAT(errors(), ElementsAre("Incorrect measurement data size: 7"));
}

TEST_F(QuardexMessagesTest, SectionLengthInsideAnItemStillTakesThatItem) {
    handle(BatchMessage().measurement("meas", 1).claimMeasurementBytes(1).record("rec", {2}));
    const auto collections = held();
    EXPECT_THAT(collections.measurementcollections(0).values(), ElementsAre(1));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(QuardexMessagesTest, BatchItselfDoesNotMoveTheTime) {
    collector.setCurrTime(time_point(seconds(100)));
    handle(Batch().measurement("meas", 1));
    EXPECT_THAT(held().measurementcollections(0).timestamps(), ElementsAre(100));
}

TEST_F(QuardexMessagesTest, AllItemsOfABatchCarryItsTime) {
    collector.setCurrTime(time_point(seconds(100)));
    handle(Batch().measurement("meas", 1).measurement("meas", 2).counter("count", 3));
    const auto collections = held();
    EXPECT_THAT(collections.measurementcollections(0).timestamps(), ElementsAre(100, 100));
    EXPECT_THAT(collections.countercollections(0).timestamps(), ElementsAre(100));
}

TEST_F(QuardexMessagesTest, ExceptionOfAFilterEndsTheBatch) {
    collector.createFilter(FilterId{2}, "throws", Qdx::Test::parsedAll({"max count 5 0"}), 0,
                           Enabled::Yes, Static::No, Printable::No);
    Batch batch;
    for (int i = 0; i < 7; ++i) {
        batch.measurement("meas", i);
    }
    EXPECT_THROW(handle(batch), std::out_of_range);
    EXPECT_THAT(held().measurementcollections(0).values(), ElementsAre(0, 1, 2, 3, 4));
}

// --- Batches that lie --------------------------------------------------------------------------

TEST_F(QuardexMessagesTest, BatchShorterThanItsFixedFieldsIsNotHandled) {
    for (std::size_t size = sizeof(ozo_msg); size < 28; ++size) {
        TraceRecorder::instance().clear();
        handle(BatchMessage().measurement("meas", 1).cutTo(size));
        EXPECT_THAT(errors(), SizeIs(1)) << size;
    }
    EXPECT_EQ(held().measurementcollections_size(), 0);
}

// Cuts a batch everywhere: whole items before the cut are handled, the rest gives one error.
TEST_F(QuardexMessagesTest, CutBatchGivesItsWholeItemsAndOneError) {
    const auto batch =
        BatchMessage().measurement("meas", 1).counter("count", 2).record("rec", {3, 4});
    const auto whole = batch.bytes().size();
    const std::size_t ends[] = {28 + 17, 28 + 17 + 18, whole};
    for (std::size_t size = 28; size < whole; ++size) {
        TraceRecorder::instance().clear();
        handle(BatchMessage(batch).cutTo(size));
        const auto collections = held();
        EXPECT_EQ(collections.measurementcollections_size(), size >= ends[0]) << size;
        EXPECT_EQ(collections.countercollections_size(), size >= ends[1]) << size;
        EXPECT_EQ(collections.recordcollections_size(), 0) << size;
        EXPECT_THAT(errors(), SizeIs(1)) << size;
        collector.disableFilter(FilterId{1});
        collector.enableFilter(FilterId{1});
    }
}

TEST_F(QuardexMessagesTest, SectionLengthPastTheEndGivesItsItemsAndOneError) {
    handle(BatchMessage().measurement("meas", 1).claimMeasurementBytes(0xFFFFFFFF));
    EXPECT_THAT(held().measurementcollections(0).values(), ElementsAre(1));
    EXPECT_THAT(errors(), SizeIs(1));
}

TEST_F(QuardexMessagesTest, SectionLengthsThatWouldWrapIn32BitsGiveTheirItemsAndOneError) {
    handle(BatchMessage()
               .measurement("meas", 1)
               .counter("count", 2)
               .claimCounterBytes(0xFFFFFFFF)
               .claimRecordBytes(0xFFFFFFFF));
    const auto collections = held();
    EXPECT_THAT(collections.measurementcollections(0).values(), ElementsAre(1));
    EXPECT_THAT(collections.countercollections(0).values(), ElementsAre(2));
    EXPECT_THAT(errors(), SizeIs(1));
}

TEST_F(QuardexMessagesTest, RecordSizePastTheEndDropsTheRecordAndTheRest) {
    handle(
        BatchMessage().record("rec", {1}).recordOfSize("rec", 0xFFFFFFFF, {2}).record("rec", {3}));
    EXPECT_THAT(held().recordcollections(0).values(), ElementsAre("\x01"));
    EXPECT_THAT(errors(), SizeIs(1));
}

TEST_F(QuardexMessagesTest, LieInOneSectionDropsTheFollowingOnes) {
    handle(BatchMessage().recordOfSize("rec", 1, {1}).claimMeasurementBytes(5));
    EXPECT_EQ(held().recordcollections_size(), 0);
    EXPECT_THAT(errors(), SizeIs(1));
}

// --- Samples that are on their way when a batch turns out to lie ---------------------------------

// The two sections of fixed-size values, with a key that the collector knows from an earlier batch.
class QuardexKnownKeyTest : public QuardexMessagesTest {
protected:
    QuardexKnownKeyTest() { handle(BatchMessage().measurement("meas", 0).counter("count", 0)); }

    // Good samples, all of which still wait for their aggregators when the item behind them is
    // read.
    static BatchMessage goodMeasurements() {
        return BatchMessage().measurement("meas", 1).measurement("meas", 2).measurement("meas", 3);
    }
    static BatchMessage goodCounters() {
        return BatchMessage().counter("count", 1).counter("count", 2).counter("count", 3);
    }

    // Hands over the whole batch cut at each of these numbers of bytes behind the good samples, and
    // forgets the samples in between. The values are those of the section under test.
    void expectGoodSamplesWhereverCut(const BatchMessage& good, const BatchMessage& whole,
                                      std::size_t from, std::size_t to,
                                      const std::function<std::vector<std::int64_t>()>& values) {
        const auto goodSize = good.bytes().size();
        for (auto cut = goodSize + from; cut < goodSize + to; ++cut) {
            std::ostringstream ignored;
            collector.clearAllFilters(ignored);
            TraceRecorder::instance().clear();
            handle(BatchMessage(whole).cutTo(cut));
            EXPECT_THAT(values(), ElementsAre(1, 2, 3)) << "cut at " << cut;
            EXPECT_THAT(errors(), SizeIs(1)) << "cut at " << cut;
        }
    }

    std::vector<std::int64_t> measured() { return valuesOf(held().measurementcollections()); }
    std::vector<std::int64_t> counted() { return valuesOf(held().countercollections()); }

    template <typename Collections>
    static std::vector<std::int64_t> valuesOf(const Collections& collections) {
        std::vector<std::int64_t> values;
        for (const auto& collection : collections) {
            values.insert(values.end(), collection.values().begin(), collection.values().end());
        }
        return values;
    }

    static constexpr std::size_t measurementHead = sizeof("meas") + sizeof(std::uint32_t);
    static constexpr std::size_t counterHead = sizeof("count") + sizeof(std::uint32_t);
};

TEST_F(QuardexKnownKeyTest, SamplesBeforeACutHeadStayInTheFilters) {
    expectGoodSamplesWhereverCut(goodMeasurements(), goodMeasurements().measurement("meas", 4), 0,
                                 measurementHead, [&] { return measured(); });
    expectGoodSamplesWhereverCut(goodCounters(), goodCounters().counter("count", 4), 0, counterHead,
                                 [&] { return counted(); });
}

TEST_F(QuardexKnownKeyTest, SamplesBeforeACutPayloadStayInTheFilters) {
    expectGoodSamplesWhereverCut(goodMeasurements(), goodMeasurements().measurement("meas", 4),
                                 measurementHead, measurementHead + 8, [&] { return measured(); });
    expectGoodSamplesWhereverCut(goodCounters(), goodCounters().counter("count", 4), counterHead,
                                 counterHead + 8, [&] { return counted(); });
}

TEST_F(QuardexKnownKeyTest, SamplesBeforeAWrongSizeStayInTheFilters) {
    handle(goodMeasurements().measurementOfSize("meas", 4, Bytes(4)));
    EXPECT_THAT(measured(), ElementsAre(0, 1, 2, 3));
    handle(goodCounters().counterOfSize("count", 9, Bytes(9)));
    EXPECT_THAT(counted(), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(errors(), ElementsAre("Incorrect measurement data size: 4",
                                      "Incorrect measurement data size:9"));
}

// --- Metadata ----------------------------------------------------------------------------------

TEST_F(QuardexMessagesTest, MetaDataIsCollectedWhenAllSixFieldsArePresent) {
    EXPECT_FALSE(collector.isMetaDataCollected());
    auto five = allSix();
    five.clear_hwname();
    handleMetaData(five);
    EXPECT_FALSE(collector.isMetaDataCollected());

    RadioMetaData sixth;
    sixth.set_hwname("");
    handleMetaData(sixth);
    EXPECT_TRUE(collector.isMetaDataCollected());
}

TEST_F(QuardexMessagesTest, EachFieldOfTheMetaDataIsNeeded) {
    const auto* descriptor = RadioMetaData::descriptor();
    for (int i = 0; i < descriptor->field_count(); ++i) {
        Quardex fresh;
        auto five = allSix();
        RadioMetaData::GetReflection()->ClearField(&five, descriptor->field(i));
        fresh.handleBeProcessMetaDataUreq(metaDataMessage(five).get());
        EXPECT_FALSE(fresh.isMetaDataCollected()) << descriptor->field(i)->name();
    }
}

TEST_F(QuardexMessagesTest, MetaDataOfAnyBytesIsTakenAndLeavesStandardErrorAlone) {
    // The first field, of one byte that is no UTF-8.
    const auto text = Tessel::Util::Base64::encode({0x0a, 0x01, 0xff});
    testing::internal::CaptureStderr();
    handleMetaDataText(text);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(QuardexMessagesTest, LaterMetaDataReplacesOnlyWhatItSets) {
    handleMetaData(allSix());
    RadioMetaData second;
    second.set_hwname("other");
    handleMetaData(second);
    auto expected = allSix();
    expected.set_hwname("other");
    EXPECT_EQ(pulledMetaData(), expected.SerializeAsString());
}

RadioMetaData withUnknown(RadioMetaData metaData, int field, const std::string& bytes) {
    metaData.mutable_unknown_fields()->AddLengthDelimited(field, bytes);
    return metaData;
}

TEST_F(QuardexMessagesTest, PullPassesUnknownFieldsOfTheMetaDataOn) {
    const auto metaData = withUnknown(withUnknown(allSix(), 7, "seven"), 7, "again");
    handleMetaData(metaData);
    EXPECT_EQ(pulledMetaData(), metaData.SerializeAsString());
}

TEST_F(QuardexMessagesTest, RepeatedUnknownFieldsOfTheMetaDataDoNotAddUp) {
    const auto metaData = withUnknown(allSix(), 7, std::string(40'000, 'u'));
    for (int i = 0; i < 3; ++i) {
        handleMetaData(metaData);
    }
    EXPECT_EQ(pulledMetaData(), metaData.SerializeAsString());
}

TEST_F(QuardexMessagesTest, UnknownFieldsOfLaterMetaDataReplaceAllEarlierOnes) {
    handleMetaData(withUnknown(withUnknown(allSix(), 7, "seven"), 8, "eight"));
    handleMetaData(withUnknown({}, 9, "nine"));
    EXPECT_EQ(pulledMetaData(), withUnknown(allSix(), 9, "nine").SerializeAsString());
}

TEST_F(QuardexMessagesTest, LaterMetaDataWithoutUnknownFieldsLeavesThoseKnownBefore) {
    handleMetaData(withUnknown(allSix(), 7, "seven"));
    RadioMetaData second;
    second.set_hwname("other");
    handleMetaData(second);
    auto expected = withUnknown(allSix(), 7, "seven");
    expected.set_hwname("other");
    EXPECT_EQ(pulledMetaData(), expected.SerializeAsString());
}

TEST_F(QuardexMessagesTest, UnparsableMetaDataChangesNothingAndIsLeftWithoutALeavingLine) {
    handleMetaData(allSix());
    TraceRecorder::instance().clear();
    handleMetaDataText("/////w==");
    EXPECT_EQ(pulledMetaData(), allSix().SerializeAsString());
    EXPECT_THAT(errors(), ElementsAre("Unsuccessful parsing of RadioMetaData GPB message."));
    EXPECT_EQ(TraceRecorder::instance().count(Level::Trace6, "Leaving handleBeProcessMetaDataUreq"),
              0);
}

TEST_F(QuardexMessagesTest, FieldsInFrontOfWhatCannotBeParsedAreDroppedWithIt) {
    handleMetaData(allSix());
    // The first field with one letter, an unknown one, and a tag that never ends.
    handleMetaDataText(Tessel::Util::Base64::encode({0x0a, 1, 'X', 0x3a, 1, 'Y', 0xff}));
    EXPECT_EQ(pulledMetaData(), allSix().SerializeAsString());
    EXPECT_THAT(errors(), ElementsAre("Unsuccessful parsing of RadioMetaData GPB message."));
}

TEST_F(QuardexMessagesTest, MetaDataEndsAtTheFirstCharacterOutsideTheAlphabet) {
    RadioMetaData metaData;
    metaData.set_hwname("abc");  // 8 bytes: "Mg..." and one "="
    handleMetaDataText(textOf(metaData) + "!garbage");
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_EQ(
        TraceRecorder::instance().count(Level::Trace6, R"(Received GPB message: {"hwName":"abc"})"),
        1);
}

TEST_F(QuardexMessagesTest, MetaDataIsTheFirstWordOfItsText) {
    RadioMetaData metaData;
    metaData.set_hwname("abc");
    handleMetaDataText("  " + textOf(metaData) + " rest");
    EXPECT_EQ(
        TraceRecorder::instance().count(Level::Trace6, R"(Received GPB message: {"hwName":"abc"})"),
        1);
}

TEST_F(QuardexMessagesTest, MetaDataTraceTellsItsReferencesAndItsContent) {
    const std::shared_ptr<ozo_msg> msg(
        V1::toOzoMessage(
            V1::encodeMetaData({.procedure = 0x01020304, .connection = 5}, RadioMetaData())),
        ozo_free);
    collector.handleBeProcessMetaDataUreq(msg.get());

    const std::uint32_t numberAsBytes = V1::beProcessMetaDataUreq;
    const auto decoded =
        V1::readBigEndian32(reinterpret_cast<const unsigned char*>(&numberAsBytes));
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Trace6),
                ElementsAre("Entering handleBeProcessMetaDataUreq",
                            "Received OZO message, messageNumber: " + std::to_string(decoded) +
                                ", procedureReference: 16909060, connectionReference: 5",
                            "Received GPB message: {}", "Leaving handleBeProcessMetaDataUreq"));
}

TEST_F(QuardexMessagesTest, MetaDataIsMergedWithItsTraceOff) {
    for (const auto level : {Level::Error, Level::Info, Level::Trace5, Level::Trace6}) {
        TraceRecorder::instance().turnOff(level);
    }
    handleMetaData(allSix());
    EXPECT_TRUE(collector.isMetaDataCollected());
    EXPECT_THAT(TraceRecorder::instance().lines(), IsEmpty());
}

// Allocations of this thread while the function runs.
std::size_t allocationsOf(const std::function<void()>& function) {
    const Qdx::Test::HeapFault none(std::numeric_limits<std::size_t>::max());
    function();
    return none.allocations();
}

TEST_F(QuardexMessagesTest, JsonOfTheMetaDataIsMadeAlsoWithItsTraceOff) {
    for (const auto level : {Level::Error, Level::Info, Level::Trace5, Level::Trace6}) {
        TraceRecorder::instance().turnOff(level);
    }
    const auto metaData = allSix();
    const auto makeJson = [&] {
        std::string json;
        ASSERT_TRUE(google::protobuf::util::MessageToJsonString(metaData, &json).ok());
    };
    const auto serialised = metaData.SerializeAsString();
    const auto msg = metaDataMessage(metaData);
    const auto handleMessage = [&] { collector.handleBeProcessMetaDataUreq(msg.get()); };
    // What is made once for a process, or once for the collector's fields, comes first.
    makeJson();
    handleMessage();
    const auto decoding = allocationsOf([&] {
        const auto text = textOf(metaData);
        Tessel::Util::Base64::decode(text);
        RadioMetaData received;
        EXPECT_TRUE(received.ParseFromString(serialised));
    });
    EXPECT_GT(allocationsOf(makeJson), 2 * decoding) << "too alike to tell one from the other";
    EXPECT_GE(allocationsOf(handleMessage), allocationsOf(makeJson));
}

TEST_F(QuardexMessagesTest, MetaDataWithoutItsNulIsOneErrorAndMergesNothing) {
    auto message = V1::encodeMetaData({}, allSix());
    message.pop_back();
    const std::shared_ptr<ozo_msg> msg(V1::toOzoMessage(message), ozo_free);
    collector.handleBeProcessMetaDataUreq(msg.get());
    EXPECT_FALSE(collector.isMetaDataCollected());
    EXPECT_THAT(errors(), SizeIs(1));
}

TEST_F(QuardexMessagesTest, MetaDataShorterThanItsFixedFieldsIsOneError) {
    for (std::size_t size = 0; size < 8; ++size) {
        TraceRecorder::instance().clear();
        collector.handleBeProcessMetaDataUreq(
            messageOf(V1::beProcessMetaDataUreq, Bytes(size)).get());
        EXPECT_THAT(errors(), SizeIs(1)) << size;
    }
}

// --- Clocks ------------------------------------------------------------------------------------

TEST_F(QuardexMessagesTest, ClockAnchorIsTakenOnceAndKept) {
    const auto before = std::chrono::steady_clock::now();
    const auto anchor = collector.getClockAnchor();
    EXPECT_GE(anchor.first, before);
    EXPECT_LE(anchor.first, std::chrono::steady_clock::now());
    EXPECT_EQ(collector.getClockAnchor(), anchor);
}

TEST_F(QuardexMessagesTest, ClearedClockAnchorIsTakenAgain) {
    const ClockAnchor given{time_point(seconds(1)), WallTime(seconds(2))};
    collector.setClockAnchor(given);
    EXPECT_EQ(collector.getClockAnchor(), given);
    collector.setClockAnchor(std::nullopt);
    EXPECT_NE(collector.getClockAnchor(), given);
}

TEST_F(QuardexMessagesTest, EmptyTimeIsThePresent) {
    const auto before = std::chrono::steady_clock::now();
    collector.setCurrTime(std::nullopt);
    const auto after = std::chrono::steady_clock::now();
    handle(Batch().measurement("meas", 1));

    // Anchored an hour ahead, so that whole seconds can't hide the difference.
    const auto encoder = OutputEncoderIf::create({before, WallTime(seconds(3600))});
    collector.prepareFilterData(FilterId{1}, Clear::No, encoder.get());
    InfoObjectCollections collections;
    ASSERT_TRUE(collections.ParseFromString(encoder->build()));
    const auto stamp = collections.measurementcollections(0).timestamps(0);
    EXPECT_GE(stamp, 3600u);
    EXPECT_LE(stamp, 3600u + static_cast<std::uint64_t>(
                                 std::chrono::ceil<seconds>(after - before).count()));
}

}  // namespace
}  // namespace Qdx::Backend
