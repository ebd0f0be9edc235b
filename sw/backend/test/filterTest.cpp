#include "filter.hpp"

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <map>
#include <new>

#include "filterMemory.hpp"
#include "globalMemory.hpp"
#include "heapFault.hpp"
#include "memoryFaults.hpp"
#include "parsedStatement.hpp"

namespace Qdx::Backend {
namespace {

using Qdx::Test::BrokenResource;
using Qdx::Test::DefaultResourceScope;
using Qdx::Test::FailingResource;
using Qdx::Test::HeapFault;
using Qdx::Test::sweepAllocations;
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

InfoObjectCollections pulled(Filter& filter, Clear clear, time_point now = start) {
    const auto encoder = OutputEncoderIf::create({start, WallTime{}});
    filter.pullData(now, encoder.get(), clear);
    InfoObjectCollections collections;
    EXPECT_TRUE(collections.ParseFromString(encoder->build()));
    return collections;
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
        return pulled(*filter, clear, start + at);
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
    create({"max count 2 2"});
    const auto object = measurement(1);
    const std::string context = "rfBranch=1,carrierId=12345";
    const auto feed = [&](std::int64_t value) {
        filter->pushMeasurement(object, context, start, MeasurementData{value});
    };
    feed(5), feed(9);  // the first result takes the only room that the aggregator needs
    mainMayStillTake(0);
    memory.getContentResource()->setRemainingSize(0);
    bool heapWasAsked = true;
    {
        const DefaultResourceScope noDefault(std::pmr::null_memory_resource());
        const HeapFault fault(0);
        feed(7), feed(6);
        heapWasAsked = fault.hasFailed();
    }
    EXPECT_FALSE(heapWasAsked);
    EXPECT_THAT(values(pull()), ElementsAre(7));
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

// The bytes that a set of keys takes for one of them.
std::size_t keyNodeSize() {
    FailingResource resource;
    const std::pmr::set<Filter::AggregatorKey> one({{1, 0}}, &resource);
    return resource.held();
}

TEST_F(FilterTest, WithoutStatementsAKeyCostsOneNodeOnce) {
    create({});
    push(1, "a", 5);
    const auto held = mainHeld();
    push(1, "a", 6);
    EXPECT_EQ(mainHeld(), held);
    push(2, "a", 5);
    EXPECT_EQ(mainHeld(), held + keyNodeSize());
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

TEST_F(FilterTest, StaticFilterCopiesNoRecordBeforeItIsUsed) {
    create({"list count 10"}, Static::Yes);
    mainMayStillTake(0);
    const auto refusals = memory.getMainResource()->getNumFailures();
    EXPECT_NO_THROW(filter->pushRecord(measurement(1), "", start, {1, 2, 3}));
    EXPECT_EQ(memory.getMainResource()->getNumFailures(), refusals);

    filter->markAsUsed();
    EXPECT_THROW(filter->pushRecord(measurement(1), "", start, {1, 2, 3}), std::bad_alloc);
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

TEST_F(FilterTest, WindowsKeptWithSizeZeroThrowAndTheirKeyStays) {
    create({"max count 2 0"});
    push(1, "a", 5);
    EXPECT_THROW(push(1, "a", 6), std::out_of_range);
    EXPECT_THAT(captured(), ElementsAre(Pair(1, "a")));
    EXPECT_EQ(pull().measurementcollections_size(), 0);
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

TEST_F(FilterTest, RefusalThatAListOfRecordsCannotMakeGoodPassesThroughAndLosesNothing) {
    create({"list count 2"});
    const auto object = measurement(1);
    filter->pushRecord(object, "", start, {1});
    filter->pushRecord(object, "", start, {2});
    memory.getContentResource()->setRemainingSize(0);
    {
        // No room for the old records to wait while the list makes more.
        const DefaultResourceScope noDefault(std::pmr::null_memory_resource());
        EXPECT_THROW(filter->pushRecord(object, "", start, {3, 3}), std::bad_alloc);
    }
    EXPECT_THAT(captured(), ElementsAre(Pair(1, "")));
    const auto collections = pull();
    ASSERT_EQ(collections.recordcollections_size(), 1);
    EXPECT_THAT(collections.recordcollections(0).values(), ElementsAre("\1", "\2"));
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

// What is wrong with memory beside its size is no matter of the filter.
TEST_F(FilterTest, ExceptionThatIsNotAboutTheSizeOfMemoryPassesThrough) {
    BrokenResource main;
    Filter made("f", Qdx::Test::parsedAll({"list count 10"}), Enabled::Yes, Static::No,
                Printable::No, memory.getContentResource(), &main);
    made.pushMeasurement(measurement(1), "rfBranch=1", start, MeasurementData{5});
    main.breakDown();
    EXPECT_THROW(made.pushMeasurement(measurement(1), "rfBranch=2", start, MeasurementData{6}),
                 std::runtime_error)
        << "a new context";
    EXPECT_THROW(made.pushMeasurement(measurement(2), "rfBranch=1", start, MeasurementData{6}),
                 std::runtime_error)
        << "a new key";
    EXPECT_THAT(values(pulled(made, Clear::No)), ElementsAre(5));
}

// --- Memory that fails at one allocation -------------------------------------------------------

// A filter fed with one key of each kind and one that nothing captures. Texts are longer than the
// small buffer of a string.
class FedFilter {
public:
    FedFilter(std::pmr::memory_resource* content, std::pmr::memory_resource* main)
        : filter(std::allocate_shared<Filter>(
              std::pmr::polymorphic_allocator<Filter>(main), "filter with a long name",
              Qdx::Test::parsedAll(
                  {"tags A list count 2 list duration 60", "tags A max count 1 2 sum count 1 2"}),
              Enabled::Yes, Static::No, Printable::No, content, main)) {}

    // Takes nothing from the heap itself.
    void feed(unsigned char value) {
        filter->pushMeasurement(level, contexts[0], start, MeasurementData{value});
        filter->pushCounter(packets, contexts[1], start, CounterData{value});
        feedRecord(value);
        filter->pushMeasurement(unwanted, contexts[3], start, MeasurementData{value});
    }

    // How many aggregators each key has, by the identity of its object.
    std::map<unsigned, std::size_t> captured() const {
        std::map<unsigned, std::size_t> counts;
        filter->getCapturedObjects([&](const std::pair<InfoObjectId, std::string>& object) {
            ++counts[static_cast<unsigned>(object.first)];
        });
        return counts;
    }

    // Each key has two lists, and one of the numbers besides.
    static inline const std::map<unsigned, std::size_t> whole{{1, 3}, {2, 3}, {3, 2}};

    void expectEachKeyWholeOrAbsent() const {
        for (const auto& key : captured()) {
            EXPECT_THAT(whole, testing::Contains(key));
        }
    }

    void expectNewest(std::int64_t number) {
        const auto collections = pulled(*filter, Clear::Yes);
        for (const auto& collection : collections.measurementcollections()) {
            EXPECT_EQ(*collection.values().rbegin(), number);
        }
        for (const auto& collection : collections.countercollections()) {
            EXPECT_EQ(*collection.values().rbegin(), number);
        }
        for (const auto& collection : collections.recordcollections()) {
            EXPECT_EQ(*collection.values().rbegin(), newestRecord);
        }
    }

private:
    void feedRecord(unsigned char value) {
        bytes[0] = value;
        try {
            filter->pushRecord(event, contexts[2], start, bytes);
            newestRecord[0] = static_cast<char>(value);
        } catch (const std::bad_alloc&) {
            // Main memory couldn't hold the record for a moment.
        }
    }

    InfoObject level = measurement(1, {"A"});
    InfoObject packets = measurement(2, {"A"});
    InfoObject event = measurement(3, {"A"});
    InfoObject unwanted = measurement(4);
    std::shared_ptr<Filter> filter;
    std::vector<std::string> contexts{"rfBranch=1,carrierId=12345", "rfBranch=2,carrierId=12345",
                                      "rfBranch=3,carrierId=12345", "rfBranch=4,carrierId=12345"};
    std::vector<unsigned char> bytes{0};
    std::string newestRecord = "-";
};

// From the construction to the end, while one of the allocations fails.
void liveThrough(FailingResource& content, FailingResource& main) {
    try {
        FedFilter fed(&content, &main);
        for (unsigned char value = 1; value <= 3; ++value) {
            fed.feed(value);
            fed.expectEachKeyWholeOrAbsent();
        }
        EXPECT_EQ(fed.captured(), FedFilter::whole);
        fed.expectNewest(3);
    } catch (const std::bad_alloc&) {
        EXPECT_TRUE(main.hasFailed()) << "only the construction lets a refusal out";
        EXPECT_LE(main.allocations(), 3U);
    }
}

TEST(FilterOutOfMemory, EachFailureInMainLeavesKeysWholeOrAbsent) {
    const auto failures = sweepAllocations([](FailingResource& main) {
        FailingResource content;
        liveThrough(content, main);
        EXPECT_EQ(content.held(), 0U);
    });
    // The filter, its name and its statements; four contexts with their texts; for each captured
    // key its aggregators, the growth of the list that gathers them and their nodes; a copy of each
    // record; the uncaptured key.
    EXPECT_EQ(failures, 3U + 4 * 2 + 2 * (3 + 3 + 3) + (2 + 2 + 2) + 3 + 1);
}

TEST(FilterOutOfMemory, EachFailureInContentLeavesKeysWholeOrAbsent) {
    const auto failures = sweepAllocations([](FailingResource& content) {
        FailingResource main;
        liveThrough(content, main);
        EXPECT_EQ(main.held(), 0U);
    });
    // For each captured key the growth of the short list and of the long one, which shrinks at the
    // pull; the growth of the windows of numbers; the records in the two lists, of which the short
    // one takes the third in place of the first.
    EXPECT_EQ(failures, 3 * (2U + 4) + 2 * 2 + (2 + 3));
}

TEST(FilterOutOfMemory, SamplesTakeMemoryNowhereButInTheFiltersResources) {
    std::array<std::byte, 65536> room{};
    std::pmr::monotonic_buffer_resource own(room.data(), room.size(),
                                            std::pmr::null_memory_resource());
    FedFilter fed(&own, &own);
    bool heapWasAsked = true;
    {
        const DefaultResourceScope noDefault(std::pmr::null_memory_resource());
        const HeapFault fault(0);
        for (unsigned char value = 1; value <= 3; ++value) {
            fed.feed(value);
        }
        heapWasAsked = fault.hasFailed();
    }
    EXPECT_FALSE(heapWasAsked);
    EXPECT_EQ(fed.captured(), FedFilter::whole);
    fed.expectNewest(3);
}

}  // namespace
}  // namespace Qdx::Backend
