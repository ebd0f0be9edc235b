#include "filter.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <new>

#include "filterMemory.hpp"
#include "globalMemory.hpp"
#include "parsedStatement.hpp"

namespace Qdx::Backend {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using V1::CounterData;
using V1::MeasurementData;

constexpr time_point start{};

InfoObject measurement(unsigned id, const std::set<std::string>& tags = {}) {
    return {InfoObjectId{id},
            "object:" + std::to_string(id),
            InfoObjectType::Measurement,
            "",
            "",
            "",
            tags};
}

// A filter in a memory of its own, as the registry makes it.
class FilterTest : public testing::Test {
protected:
    FilterTest() { create({"list count 10"}); }

    Filter& create(const std::vector<std::string>& statements, Static isStatic = Static::No) {
        filter.reset();
        filter = std::allocate_shared<Filter>(
            std::pmr::polymorphic_allocator<Filter>(memory.getMainResource()), "f",
            Qdx::Test::parsedAll(statements), Enabled::Yes, isStatic, Printable::No,
            memory.getContentResource(), memory.getMainResource());
        return *filter;
    }

    void push(unsigned id, const std::string& context, std::int64_t value, seconds at = {}) {
        filter->pushMeasurement(measurement(id), context, start + at, MeasurementData{value});
    }

    InfoObjectCollections pull(Clear clear = Clear::No, seconds at = {}) {
        const auto encoder = OutputEncoderIf::create({start, WallTime{}});
        filter->pullData(start + at, encoder.get(), clear);
        InfoObjectCollections collections;
        EXPECT_TRUE(collections.ParseFromString(encoder->build()));
        return collections;
    }

    std::vector<std::int64_t> values(const InfoObjectCollections& collections, int index = 0) {
        const auto& list = collections.measurementcollections(index).values();
        return {list.begin(), list.end()};
    }

    std::vector<std::pair<unsigned, std::string>> captured() const {
        std::vector<std::pair<unsigned, std::string>> objects;
        filter->getCapturedObjects([&](const std::pair<InfoObjectId, std::string>& object) {
            objects.emplace_back(static_cast<unsigned>(object.first), object.second);
        });
        return objects;
    }

    unsigned long mainHeld() { return memory.getMainResource()->getAllocatedSize(); }
    void mainMayStillTake(unsigned long bytes) {
        memory.getMainResource()->setRemainingSize(bytes);
    }

    GlobalMemory global{10'000'000};
    FilterMemory memory{"f", std::nullopt, &global};
    std::shared_ptr<Filter> filter;
};

TEST_F(FilterTest, KeepsWhatItsConstructorWasGiven) {
    const Filter made("name", Qdx::Test::parsedAll({"tags A list count 1", "tags B list count 2"}),
                      Enabled::No, Static::Yes, Printable::Yes, memory.getContentResource(),
                      memory.getMainResource());

    EXPECT_EQ(made.getName(), "name");
    EXPECT_FALSE(made.isEnabled());
    EXPECT_TRUE(made.isStatic());
    EXPECT_TRUE(made.isPrintable());
    EXPECT_EQ(made.get_allocator().resource(), memory.getMainResource());
    ASSERT_THAT(made.getCaptureStatements(), SizeIs(2));
    EXPECT_THAT(made.getCaptureStatements()[0].getTags(), ElementsAre("A"));
    EXPECT_THAT(made.getCaptureStatements()[1].getTags(), ElementsAre("B"));
}

TEST_F(FilterTest, ChargesOnlyTheBufferOfItsStatements) {
    const auto before = mainHeld();
    const Filter made("name", Qdx::Test::parsedAll({"tags A B C list count 1 list count 2"}),
                      Enabled::Yes, Static::No, Printable::No, memory.getContentResource(),
                      memory.getMainResource());

    EXPECT_EQ(mainHeld() - before, sizeof(CaptureStatement));
}

TEST_F(FilterTest, ChargesItsOwnObjectToMain) {
    filter.reset();
    EXPECT_EQ(mainHeld(), 0);
    create({"list count 1"});
    EXPECT_GE(mainHeld(), sizeof(Filter) + sizeof(CaptureStatement));
    filter.reset();
    EXPECT_EQ(mainHeld(), 0);
}

TEST_F(FilterTest, FirstSampleEntersThroughTheAggregatorsConstructorOnce) {
    push(1, "", 5);
    EXPECT_THAT(values(pull()), ElementsAre(5));
}

TEST_F(FilterTest, LaterSamplesFeedTheSameAggregator) {
    push(1, "", 5);
    push(1, "", 6);
    const auto collections = pull();
    ASSERT_EQ(collections.measurementcollections_size(), 1);
    EXPECT_THAT(values(collections), ElementsAre(5, 6));
}

TEST_F(FilterTest, KnownKeyAllocatesNothingInTheFilter) {
    push(1, "rfBranch=1", 5);
    push(1, "rfBranch=1", 6);
    const auto held = mainHeld();
    const auto highest = memory.getMainResource()->getMaxAllocatedSize();
    push(1, "rfBranch=1", 7);
    EXPECT_EQ(mainHeld(), held);
    EXPECT_EQ(memory.getMainResource()->getMaxAllocatedSize(), highest);
}

TEST_F(FilterTest, TwoContextsOfOneObjectAreTwoKeys) {
    push(1, "rfBranch=1", 5);
    push(1, "rfBranch=2", 6);
    const auto collections = pull();
    ASSERT_EQ(collections.measurementcollections_size(), 2);
    EXPECT_THAT(values(collections, 0), ElementsAre(5));
    EXPECT_EQ(collections.measurementcollections(0).context().rf_branch(), 1);
    EXPECT_THAT(values(collections, 1), ElementsAre(6));
    EXPECT_EQ(collections.measurementcollections(1).context().rf_branch(), 2);
}

TEST_F(FilterTest, OneContextOfTwoObjectsHasOneNumber) {
    push(1, "rfBranch=1", 5);
    push(2, "rfBranch=1", 6);
    EXPECT_THAT(filter->reverseContextsMap(), ElementsAre(Pair(0, "rfBranch=1")));
    EXPECT_THAT(captured(), ElementsAre(Pair(1, "rfBranch=1"), Pair(2, "rfBranch=1")));
}

TEST_F(FilterTest, NumbersContextsInTheOrderTheyAreMet) {
    push(1, "c", 0);
    push(1, "", 0);
    push(1, "a", 0);
    EXPECT_THAT(filter->reverseContextsMap(), ElementsAre(Pair(0, "c"), Pair(1, ""), Pair(2, "a")));
}

TEST_F(FilterTest, PullsByIdentityThenContextNumberThenAge) {
    create({"list count 1", "list count 2 max count 1 1"});
    push(2, "b", 0);
    push(1, "a", 0);
    push(1, "b", 0);
    EXPECT_THAT(captured(),
                ElementsAre(Pair(1, "b"), Pair(1, "b"), Pair(1, "b"), Pair(1, "a"), Pair(1, "a"),
                            Pair(1, "a"), Pair(2, "b"), Pair(2, "b"), Pair(2, "b")));
}

TEST_F(FilterTest, StatementsContributeInOrderWithoutMergingEqualOnes) {
    create({"list count 3 list count 4", "list count 3"});
    push(1, "", 5);
    const auto collections = pull();
    ASSERT_EQ(collections.measurementcollections_size(), 3);
    EXPECT_EQ(collections.measurementcollections(0).list().size(), 3);
    EXPECT_EQ(collections.measurementcollections(1).list().size(), 4);
    EXPECT_EQ(collections.measurementcollections(2).list().size(), 3);
}

TEST_F(FilterTest, WithoutStatementsItOnlyRemembersContexts) {
    create({});
    push(1, "a", 5);
    push(1, "b", 5);
    EXPECT_THAT(captured(), IsEmpty());
    EXPECT_THAT(filter->reverseContextsMap(), SizeIs(2));
}

TEST_F(FilterTest, RemembersThatNothingCapturesAKey) {
    create({"tags X list count 1"});
    push(1, "", 5);
    const auto held = mainHeld();
    const auto highest = memory.getMainResource()->getMaxAllocatedSize();
    push(1, "", 6);
    EXPECT_EQ(mainHeld(), held);
    EXPECT_EQ(memory.getMainResource()->getMaxAllocatedSize(), highest);
    EXPECT_THAT(captured(), IsEmpty());
}

TEST_F(FilterTest, DecisionsAreMadeAnewAfterErasingAggregators) {
    create({"tags X list count 1"});
    push(1, "", 5);
    filter->pushMeasurement(measurement(1, {"X"}), "", start, MeasurementData{6});
    EXPECT_THAT(captured(), IsEmpty());

    filter->eraseAggregators();
    filter->pushMeasurement(measurement(1, {"X"}), "", start, MeasurementData{6});
    EXPECT_THAT(captured(), SizeIs(1));
}

TEST_F(FilterTest, StaticFilterTakesNothingBeforeItIsUsed) {
    create({"list count 10"}, Static::Yes);
    push(1, "dfeId=1", 5);
    filter->pushCounter(measurement(2), "dfeId=2", start, CounterData{1});
    filter->pushRecord(measurement(3), "dfeId=3", start, {1, 2, 3});
    EXPECT_THAT(filter->reverseContextsMap(), IsEmpty());
    EXPECT_THAT(captured(), IsEmpty());

    filter->markAsUsed();
    push(1, "dfeId=1", 6);
    EXPECT_THAT(values(pull()), ElementsAre(6));
}

TEST_F(FilterTest, PullWithoutAggregatorsAddsNothing) {
    EXPECT_EQ(pull(Clear::Yes).measurementcollections_size(), 0);
}

TEST_F(FilterTest, KeepsDataWhenPulledToKeep) {
    push(1, "", 5);
    pull(Clear::No);
    EXPECT_THAT(values(pull()), ElementsAre(5));
}

TEST_F(FilterTest, ClearingPullDropsHistoryButNotTheOpenWindow) {
    create({"sum count 2 4"});
    const auto add = [this](std::int64_t value) {
        filter->pushCounter(measurement(1), "", start, CounterData{value});
    };
    add(1), add(2), add(4);
    const auto first = pull(Clear::Yes);
    ASSERT_EQ(first.countercollections_size(), 1);
    EXPECT_THAT(first.countercollections(0).values(), ElementsAre(3));
    EXPECT_EQ(pull().countercollections_size(), 0);

    add(8);
    EXPECT_THAT(pull().countercollections(0).values(), ElementsAre(12));
}

TEST_F(FilterTest, ClearDataKeepsAggregatorsAndContexts) {
    push(1, "a", 5);
    filter->clearData(start);
    EXPECT_EQ(pull().measurementcollections_size(), 0);
    EXPECT_THAT(captured(), ElementsAre(Pair(1, "a")));
    EXPECT_THAT(filter->reverseContextsMap(), SizeIs(1));
}

TEST_F(FilterTest, DisablingDropsDataAndKeepsContextNumbers) {
    push(1, "a", 5);
    push(1, "b", 5);
    filter->disable();
    EXPECT_FALSE(filter->isEnabled());
    EXPECT_THAT(captured(), IsEmpty());

    filter->enable();
    EXPECT_TRUE(filter->isEnabled());
    push(1, "c", 7);
    push(1, "b", 8);
    EXPECT_THAT(filter->reverseContextsMap(),
                ElementsAre(Pair(0, "a"), Pair(1, "b"), Pair(2, "c")));
    EXPECT_THAT(captured(), ElementsAre(Pair(1, "b"), Pair(1, "c")));
}

TEST_F(FilterTest, EnablingChangesNothingElse) {
    push(1, "dfeId=1", 5);
    filter->enable();
    EXPECT_THAT(values(pull()), ElementsAre(5));
}

TEST_F(FilterTest, PushDoesNotLookWhetherItIsEnabled) {
    filter->disable();
    push(1, "", 5);
    EXPECT_THAT(values(pull()), ElementsAre(5));
}

TEST_F(FilterTest, ReportsAnObjectOncePerAggregator) {
    create({"list count 1", "list count 2"});
    push(1, "a", 5);
    EXPECT_THAT(captured(), ElementsAre(Pair(1, "a"), Pair(1, "a")));
}

TEST_F(FilterTest, VisitingWithAnEmptyFunctionThrowsAtTheFirstElementOnly) {
    EXPECT_NO_THROW(filter->getCapturedObjects({}));
    push(1, "a", 5);
    EXPECT_THROW(filter->getCapturedObjects({}), std::bad_function_call);
}

TEST_F(FilterTest, PullsDurationsAtTheTimeOfTheCaller) {
    create({"max duration 10 100"});
    push(1, "", 7, seconds(0));
    push(1, "", 9, seconds(3));
    EXPECT_EQ(pull(Clear::No, seconds(9)).measurementcollections_size(), 0);
    EXPECT_THAT(values(pull(Clear::No, seconds(35))), ElementsAre(9, 9, 9));
}

TEST_F(FilterTest, OtherKindOfSampleForAKnownKeyThrowsAndLeavesTheRestUnfed) {
    create({"max count 1 10 list count 10"});
    push(1, "", 5);
    EXPECT_THROW(filter->pushCounter(measurement(1), "", start, CounterData{6}),
                 std::runtime_error);
    const auto collections = pull();
    EXPECT_THAT(values(collections, 0), ElementsAre(5));
    EXPECT_THAT(values(collections, 1), ElementsAre(5));
}

TEST_F(FilterTest, EncoderFailurePassesThroughAndWhatWasClearedStaysCleared) {
    push(1, "rfBranch=1", 5);
    push(2, "not a context", 6);
    EXPECT_THROW(pull(Clear::Yes), std::runtime_error);
    EXPECT_THROW(pull(Clear::No), std::runtime_error);

    const auto encoder = OutputEncoderIf::create({start, WallTime{}});
    EXPECT_THROW(filter->pullData(start, encoder.get(), Clear::No), std::runtime_error);
    InfoObjectCollections collections;
    ASSERT_TRUE(collections.ParseFromString(encoder->build()));
    ASSERT_EQ(collections.measurementcollections_size(), 1);
    EXPECT_EQ(collections.measurementcollections(0).id(), 2);
    EXPECT_EQ(collections.measurementcollections(0).values_size(), 0);
}

// --- Memory ------------------------------------------------------------------------------------

TEST_F(FilterTest, SampleOfANewContextIsLostWithoutMemoryForTheText) {
    push(1, "a", 5);
    const auto held = mainHeld();
    mainMayStillTake(0);
    push(1, "b", 6);
    EXPECT_EQ(mainHeld(), held);
    EXPECT_THAT(filter->reverseContextsMap(), ElementsAre(Pair(0, "a")));

    mainMayStillTake(100'000);
    push(1, "b", 7);
    EXPECT_THAT(filter->reverseContextsMap(), ElementsAre(Pair(0, "a"), Pair(1, "b")));
}

// Lets the first sample of a key have ever more main memory: it is taken whole or leaves nothing
// but its context.
TEST_F(FilterTest, FirstSampleOfAKeyIsTakenWholeOrNotAtAll) {
    create({"list count 10 max count 1 10", "tags A list count 1", "list duration 5"});
    push(1, "dfeId=1", 0);
    const auto held = mainHeld();
    unsigned long bytes = 0;
    for (; captured().size() == 3; bytes += 8) {
        ASSERT_LT(bytes, 100'000);
        mainMayStillTake(bytes);
        push(2, "dfeId=1", 42);
        if (captured().size() == 3) {
            EXPECT_EQ(mainHeld(), held);
        }
    }
    EXPECT_GT(bytes, 3 * sizeof(void*));
    EXPECT_THAT(captured(), SizeIs(6));
    const auto collections = pull();
    ASSERT_EQ(collections.measurementcollections_size(), 6);
    EXPECT_THAT(values(collections, 3), ElementsAre(42));
    EXPECT_THAT(values(collections, 4), ElementsAre(42));
    EXPECT_THAT(values(collections, 5), ElementsAre(42));
}

TEST_F(FilterTest, RefusedContentForAFirstSampleLeavesTheKeyUndecided) {
    create({"max count 1 10 list count 10"});
    memory.getContentResource()->setRemainingSize(sizeof(Samples<MeasurementData>::value_type));
    push(1, "", 5);
    EXPECT_THAT(captured(), IsEmpty());
    EXPECT_EQ(memory.getContentResource()->getAllocatedSize(), 0);

    memory.getContentResource()->setRemainingSize(100'000);
    push(1, "", 6);
    EXPECT_THAT(captured(), SizeIs(2));
    EXPECT_THAT(values(pull()), ElementsAre(6));
}

TEST_F(FilterTest, UncapturedKeyWithoutMemoryToRememberItIsEvaluatedAgain) {
    create({"tags X list count 1"});
    push(9, "dfeId=1", 0);
    mainMayStillTake(0);
    push(1, "dfeId=1", 5);
    mainMayStillTake(100'000);
    filter->pushMeasurement(measurement(1, {"X"}), "dfeId=1", start, MeasurementData{6});
    EXPECT_THAT(values(pull()), ElementsAre(6));
}

TEST_F(FilterTest, RecordNeedsItsSizeInMainForAMomentEvenUncaptured) {
    create({"tags X list count 1"});
    filter->pushRecord(measurement(1), "a", start, {1});
    const auto held = mainHeld();
    mainMayStillTake(99);
    EXPECT_THROW(filter->pushRecord(measurement(1), "b", start, std::vector<unsigned char>(100)),
                 std::bad_alloc);
    EXPECT_EQ(mainHeld(), held);
    EXPECT_THAT(filter->reverseContextsMap(), ElementsAre(Pair(0, "a")));

    mainMayStillTake(100);
    EXPECT_NO_THROW(
        filter->pushRecord(measurement(1), "a", start, std::vector<unsigned char>(100)));
    EXPECT_EQ(mainHeld(), held);
}

TEST_F(FilterTest, KeepsRecordsInContentMemory) {
    const auto mainBefore = mainHeld();
    filter->pushRecord(measurement(1), "", start, std::vector<unsigned char>(1000, 7));
    EXPECT_GE(memory.getContentResource()->getAllocatedSize(), 1000);
    EXPECT_LT(mainHeld() - mainBefore, 1000);
    const auto collections = pull();
    ASSERT_EQ(collections.recordcollections_size(), 1);
    EXPECT_EQ(collections.recordcollections(0).values(0), std::string(1000, 7));
}

TEST_F(FilterTest, GivesEverythingBackWhenItGoes) {
    create({"list count 10 max duration 1 60 average count 2 8"});
    for (unsigned id = 0; id < 50; ++id) {
        for (int i = 0; i < 20; ++i) {
            push(id, "rfBranch=" + std::to_string(i % 5) + ",carrierId=12345", i, seconds(i));
        }
        filter->pushRecord(measurement(100 + id), "", start, std::vector<unsigned char>(id));
    }
    filter.reset();
    EXPECT_EQ(mainHeld(), 0);
    EXPECT_EQ(memory.getContentResource()->getAllocatedSize(), 0);
    EXPECT_EQ(global.getCommonResource()->getAllocatedSize(), 0);
}

}  // namespace
}  // namespace Qdx::Backend
