// The registry of filters.
#include "quardex.hpp"

#include <gmock/gmock.h>

#include <sstream>

#include "InfoObjectCollections.pb.h"
#include "batch.hpp"
#include "flushCounter.hpp"
#include "frontendMessages.hpp"
#include "heapFault.hpp"
#include "memoryFaults.hpp"
#include "parsedStatement.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"

namespace Qdx::Backend {
namespace {

using Qdx::Test::Batch;
using Qdx::Test::BrokenResource;
using Qdx::Test::DefaultResourceScope;
using Qdx::Test::FailingResource;
using Qdx::Test::FlushCounter;
using Qdx::Test::HeapFault;
using Qdx::Test::parsedAll;
using Qdx::Test::TraceRecorder;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Trace::Level;

const char* const catalogue = R"(<infoObjectList>
    <tags><tag name="CPU"/><tag name="NET"/></tags>
    <objects>
        <object id="1" name="a:b:1" type="meas"><tags>CPU NET</tags></object>
        <object id="2" name="a:b:2" type="meas"><tags>CPU</tags></object>
        <object id="3" name="plain" type="counter"/>
        <object id="4" name="rec" type="record"/>
    </objects></infoObjectList>)";

struct FilterSpec {
    std::int64_t id = 1;
    std::string name = "f";
    std::vector<std::string> statements = {"list count 100"};
    unsigned long memoryLimit = 0;
    Enabled enabled = Enabled::Yes;
    Static isStatic = Static::No;
    Printable printable = Printable::No;
};

// A collector with a budget and room for three filters, on the test's thread.
class QuardexTest : public testing::Test {
protected:
    QuardexTest() {
        root.writeCatalogue(catalogue, "maxFilterLimit = 3\nglobalMemoryLimit = 1000000\n");
        collector.allocateGlobalMemory();
        collector.determineMaxNumberOfFilters();
        TraceRecorder::instance().clear();
    }

    ErrorType create(const FilterSpec& spec) {
        return collector.createFilter(FilterId{spec.id}, spec.name, parsedAll(spec.statements),
                                      spec.memoryLimit, spec.enabled, spec.isStatic,
                                      spec.printable);
    }

    void feed(Batch batch) { collector.handleBeProcessBatchesUreq(batch.message().get()); }

    void feedMetaData() {
        RadioMetaData metaData;
        metaData.set_swproductnumber("1");
        metaData.set_swproductrevision("2");
        metaData.set_hwproductnumber("3");
        metaData.set_hwproductrevision("4");
        metaData.set_hwserialnumber("5");
        metaData.set_hwname("6");
        feedMetaData(metaData);
    }

    void feedMetaData(const RadioMetaData& metaData) {
        const std::unique_ptr<ozo_msg, decltype(&ozo_free)> msg(
            V1::toOzoMessage(V1::encodeMetaData({}, metaData)), ozo_free);
        collector.handleBeProcessMetaDataUreq(msg.get());
    }

    // Values of the measurement that the filter holds.
    std::vector<std::int64_t> held(std::int64_t id) {
        const auto encoder = OutputEncoderIf::create({time_point{}, WallTime{}});
        collector.prepareFilterData(FilterId{id}, Clear::No, encoder.get());
        InfoObjectCollections collections;
        EXPECT_TRUE(collections.ParseFromString(encoder->build()));
        if (collections.measurementcollections().empty()) {
            return {};
        }
        const auto& values = collections.measurementcollections(0).values();
        return {values.begin(), values.end()};
    }

    unsigned long globallyHeld() {
        return collector.getGlobalMemory()->getCommonResource()->getAllocatedSize();
    }

    // What a refused creation of filter 1 leaves behind, beside filter 2 with its one sample.
    void expectRefusedBesideAnIntactFilter(ErrorType result, unsigned long heldBefore) {
        EXPECT_EQ(result, ErrorType::NotEnoughMemory);
        EXPECT_FALSE(exists(1));
        EXPECT_THROW(collector.getFilterMemory(FilterId{1}), std::out_of_range);
        EXPECT_EQ(globallyHeld(), heldBefore);
        EXPECT_EQ(collector.getGlobalMemory()->getCommonResource()->getRemainingSize(),
                  1'000'000 - heldBefore);
        EXPECT_THAT(held(2), ElementsAre(5));
        EXPECT_THAT(TraceRecorder::instance().lines(), IsEmpty());
    }

    // Filter 2, with one sample; gives what is held then.
    unsigned long createNeighbour() {
        EXPECT_EQ(create({.id = 2, .name = "neighbour"}), ErrorType::NoError);
        feed(Batch().measurement("a:b:1", 5));
        TraceRecorder::instance().clear();
        return globallyHeld();
    }

    bool exists(std::int64_t id) const {
        return collector.findFilter(std::to_string(id)).has_value();
    }

    Qdx::Test::UnitRoot root;
    Quardex collector;
    std::ostringstream out;
};

// --- Creation ----------------------------------------------------------------------------------

TEST_F(QuardexTest, BeforeItsLimitIsReadNoFilterCanBeCreated) {
    const Quardex fresh;
    EXPECT_TRUE(fresh.hasReachedMaxNumberOfFilters());
    EXPECT_EQ(fresh.getGlobalMemory(), nullptr);
}

TEST_F(QuardexTest, CreatesFiltersUpToItsLimit) {
    EXPECT_FALSE(collector.hasReachedMaxNumberOfFilters());
    EXPECT_EQ(create({.id = 1}), ErrorType::NoError);
    EXPECT_EQ(create({.id = 2}), ErrorType::NoError);
    EXPECT_EQ(create({.id = 3}), ErrorType::NoError);
    EXPECT_TRUE(collector.hasReachedMaxNumberOfFilters());
    EXPECT_EQ(create({.id = 4}), ErrorType::MaxFiltersReached);
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Error),
                ElementsAre("Cannot create more filters, maximum number of filters reached! 3 "
                            "filters allocated."));
    EXPECT_FALSE(exists(4));
}

TEST_F(QuardexTest, AtTheLimitEvenAReplacementIsRefusedAndTheOldFilterStays) {
    create({.id = 1, .name = "old"});
    create({.id = 2});
    create({.id = 3});
    EXPECT_EQ(create({.id = 1, .name = "new"}), ErrorType::MaxFiltersReached);
    EXPECT_EQ(collector.findFilter("old"), FilterId{1});
}

TEST_F(QuardexTest, BelowTheLimitAnExistingFilterIsReplacedWithItsData) {
    create({.id = 1, .name = "old"});
    feed(Batch().measurement("a:b:1", 5));
    EXPECT_EQ(create({.id = 1, .name = "new"}), ErrorType::NoError);
    EXPECT_EQ(collector.findFilter("old"), std::nullopt);
    EXPECT_EQ(collector.findFilter("new"), FilterId{1});
    EXPECT_THAT(held(1), IsEmpty());
}

TEST_F(QuardexTest, ReplacesAStaticFilterWithoutAsking) {
    create({.id = 1, .name = "old", .isStatic = Static::Yes});
    EXPECT_EQ(create({.id = 1, .name = "new"}), ErrorType::NoError);
    EXPECT_EQ(collector.findFilter("new"), FilterId{1});
}

TEST_F(QuardexTest, FailedReplacementLosesTheOldFilterAndLeavesNoTrace) {
    create({.id = 1, .name = "old"});
    EXPECT_EQ(create({.id = 1, .name = "new", .memoryLimit = 10}), ErrorType::NotEnoughMemory);
    EXPECT_FALSE(exists(1));
    EXPECT_THROW(collector.getFilterMemory(FilterId{1}), std::out_of_range);
    EXPECT_EQ(globallyHeld(), 0);
    EXPECT_THAT(TraceRecorder::instance().lines(), IsEmpty());
}

// What a filter without samples takes of main memory.
unsigned long sizeOfFilter(const std::string& name, const std::vector<std::string>& statements) {
    CountingMemoryResource main(std::pmr::new_delete_resource(), "main", nullptr);
    const auto filter = std::allocate_shared<Filter>(std::pmr::polymorphic_allocator<Filter>(&main),
                                                     name, parsedAll(statements), Enabled::Yes,
                                                     Static::No, Printable::No, &main, &main);
    return main.getAllocatedSize();
}

const std::string longName(100, 'n');

TEST_F(QuardexTest, CreationIsWholeOrUndoneWhereverTheHeapRunsOut) {
    const auto before = createNeighbour();
    const auto statements = parsedAll({"tags CPU max count 10 100 list count 5", "list count 7"});
    std::size_t failing = 0;
    for (bool failed = true; failed && !HasFailure(); ++failing) {
        ErrorType result{};
        {
            const HeapFault fault(failing);
            result = collector.createFilter(FilterId{1}, longName, statements, 50'000, Enabled::Yes,
                                            Static::No, Printable::No);
            failed = fault.hasFailed();
        }
        if (failed) {
            expectRefusedBesideAnIntactFilter(result, before);
        } else {
            EXPECT_EQ(result, ErrorType::NoError);
        }
    }
    EXPECT_GT(failing, 10U);
    EXPECT_EQ(collector.findFilter(longName), FilterId{1});
}

TEST_F(QuardexTest, CreationIsWholeOrUndoneWhereverTheCopyOfItsStatementsFails) {
    const auto before = createNeighbour();
    const auto statements = parsedAll({"tags CPU max count 10 100 list count 5", "list count 7"});
    const auto failures = Qdx::Test::sweepAllocations([&](FailingResource& resource) {
        const DefaultResourceScope scope(&resource);
        const auto result = collector.createFilter(FilterId{1}, longName, statements, 0,
                                                   Enabled::Yes, Static::No, Printable::No);
        if (resource.hasFailed()) {
            expectRefusedBesideAnIntactFilter(result, before);
        } else {
            EXPECT_EQ(result, ErrorType::NoError);
            collector.deleteFilter(FilterId{1}, out);
        }
    });
    EXPECT_GT(failures, 2U);
}

TEST_F(QuardexTest, ExceptionOfACreationThatIsNotAboutMemoryPassesThrough) {
    const auto statements = parsedAll({"tags CPU list count 5"});
    BrokenResource heap;
    heap.breakDown();
    const DefaultResourceScope scope(&heap);
    EXPECT_THROW(collector.createFilter(FilterId{1}, longName, statements, 0, Enabled::Yes,
                                        Static::No, Printable::No),
                 std::runtime_error);
    EXPECT_FALSE(exists(1));
}

TEST_F(QuardexTest, CreationIsUndoneUntilItsLimitHoldsTheWholeFilter) {
    const auto before = createNeighbour();
    const std::vector<std::string> texts = {"tags CPU list count 5", "list count 7"};
    const auto statements = parsedAll(texts);
    const auto createWithin = [&](unsigned long limit) {
        return collector.createFilter(FilterId{1}, longName, statements, limit, Enabled::Yes,
                                      Static::No, Printable::No);
    };
    const auto needed = sizeOfFilter(longName, texts);
    unsigned long limit = 1;
    for (; needed > limit * 70 / 100; ++limit) {
        expectRefusedBesideAnIntactFilter(createWithin(limit), before);
        ASSERT_FALSE(HasFailure()) << "with " << limit << " bytes for " << needed;
    }
    EXPECT_EQ(createWithin(limit), ErrorType::NoError);
    EXPECT_EQ(globallyHeld(), before + needed);
}

TEST_F(QuardexTest, MemoryLimitZeroMeansNoLimitOfItsOwn) {
    create({.id = 1, .memoryLimit = 0});
    EXPECT_EQ(collector.getFilterMemory(FilterId{1})->getMaxSize(), std::nullopt);
    create({.id = 2, .memoryLimit = 50'000});
    EXPECT_EQ(collector.getFilterMemory(FilterId{2})->getMaxSize(), 50'000);
}

TEST_F(QuardexTest, FilterLiesInItsOwnBudget) {
    create({.id = 1, .name = "f"});
    auto* memory = collector.getFilterMemory(FilterId{1});
    EXPECT_EQ(memory->getMainResource()->getName(), "f.outerMain");
    EXPECT_EQ(memory->getAllocatedSize(), sizeOfFilter("f", {"list count 100"}));
    EXPECT_EQ(globallyHeld(), memory->getAllocatedSize());
}

TEST_F(QuardexTest, MemoryOfAnUnknownFilterThrows) {
    try {
        collector.getFilterMemory(FilterId{1});
        FAIL() << "an unknown filter has no memory";
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "map::at");
    }
}

// --- Finding -----------------------------------------------------------------------------------

TEST_F(QuardexTest, FindsByNameOrByDecimalId) {
    create({.id = 7, .name = "seven"});
    EXPECT_EQ(collector.findFilter("seven"), FilterId{7});
    EXPECT_EQ(collector.findFilter("7"), FilterId{7});
    EXPECT_EQ(collector.findFilter("07"), std::nullopt);
    EXPECT_EQ(collector.findFilter("Seven"), std::nullopt);
    EXPECT_EQ(collector.findFilter(""), std::nullopt);
}

TEST_F(QuardexTest, FirstFilterInOrderOfIdsWins) {
    create({.id = 12, .name = "twelve"});
    create({.id = 3, .name = "12"});
    EXPECT_EQ(collector.findFilter("12"), FilterId{3});
}

// --- Enabling ----------------------------------------------------------------------------------

TEST_F(QuardexTest, DisabledFilterIsSkippedByTheFanOut) {
    create({.id = 1});
    create({.id = 2});
    collector.disableFilter(FilterId{1});
    feed(Batch().measurement("a:b:1", 5));
    collector.enableFilter(FilterId{1});
    EXPECT_THAT(held(1), IsEmpty());
    EXPECT_THAT(held(2), ElementsAre(5));
}

TEST_F(QuardexTest, EnablingAndDisablingUnknownFiltersIsIgnored) {
    collector.enableFilter(FilterId{1});
    collector.disableFilter(FilterId{1});
    EXPECT_FALSE(exists(1));
}

// --- Deletion ----------------------------------------------------------------------------------

TEST_F(QuardexTest, DeletesAFilterWithItsMemory) {
    create({.id = 1});
    feed(Batch().measurement("a:b:1", 5));
    collector.deleteFilter(FilterId{1}, out);
    EXPECT_EQ(out.str(), "Deleting filter with ID: 1\n");
    EXPECT_FALSE(exists(1));
    EXPECT_THROW(collector.getFilterMemory(FilterId{1}), std::out_of_range);
    EXPECT_EQ(globallyHeld(), 0);
}

TEST_F(QuardexTest, DeletingAnUnknownFilterSaysSo) {
    collector.deleteFilter(FilterId{5}, out);
    EXPECT_EQ(out.str(), "No filter with ID: 5 found\n");
}

TEST_F(QuardexTest, StaticFilterIsNotDeleted) {
    create({.id = 1, .isStatic = Static::Yes});
    collector.deleteFilter(FilterId{1}, out);
    EXPECT_EQ(out.str(), "Cannot delete static filters\n");
    EXPECT_TRUE(exists(1));
}

TEST_F(QuardexTest, DeletesAllButStaticFilters) {
    create({.id = 1});
    create({.id = 2, .isStatic = Static::Yes});
    create({.id = 3});
    feed(Batch().measurement("a:b:1", 5));
    collector.deleteAllFilters(out);
    EXPECT_EQ(out.str(), "Deleting all filters except static filters\n");
    EXPECT_FALSE(exists(1));
    EXPECT_TRUE(exists(2));
    EXPECT_FALSE(exists(3));
    EXPECT_EQ(globallyHeld(), collector.getFilterMemory(FilterId{2})->getAllocatedSize());
}

TEST_F(QuardexTest, DeletingAllLeavesStaticFiltersWithTheirData) {
    create({.id = 1, .isStatic = Static::Yes});
    create({.id = 2, .isStatic = Static::Yes});
    held(2);  // from its first use on, a static filter collects
    feed(Batch().measurement("a:b:1", 5));
    const auto before = globallyHeld();
    collector.deleteAllFilters(out);
    EXPECT_EQ(out.str(), "Deleting all filters except static filters\n");
    EXPECT_TRUE(exists(1));
    EXPECT_THAT(held(2), ElementsAre(5));
    EXPECT_EQ(globallyHeld(), before);
}

// The collector knows the key's way to both filters when one of them goes.
TEST_F(QuardexTest, SamplesBehindADeletionOfAllReachTheFiltersThatStay) {
    create({.id = 1});
    create({.id = 2, .isStatic = Static::Yes});
    held(2);  // from its first use on, a static filter collects
    feed(Batch().measurement("a:b:1", 5).measurement("a:b:1", 6));
    collector.deleteAllFilters(out);
    feed(Batch().measurement("a:b:1", 7));
    EXPECT_THAT(held(2), ElementsAre(5, 6, 7));
}

TEST_F(QuardexTest, SamplesBehindADeletionOfStaticFiltersReachNone) {
    create({.id = 1, .isStatic = Static::Yes});
    held(1);  // from its first use on, a static filter collects
    feed(Batch().measurement("a:b:1", 5).measurement("a:b:1", 6));
    collector.deleteStaticFilters();
    feed(Batch().measurement("a:b:1", 7));
    create({.id = 1});
    feed(Batch().measurement("a:b:1", 8));
    EXPECT_THAT(held(1), ElementsAre(8));
}

TEST_F(QuardexTest, OnlyTheAnswerToOneDeletionIsFlushed) {
    FlushCounter counter;
    std::ostream counted(&counter);
    create({.id = 1});
    create({.id = 2, .isStatic = Static::Yes});
    collector.deleteFilter(FilterId{5}, counted);
    EXPECT_EQ(counter.flushes(), 1);
    collector.deleteFilter(FilterId{2}, counted);
    EXPECT_EQ(counter.flushes(), 2);
    collector.deleteFilter(FilterId{1}, counted);
    EXPECT_EQ(counter.flushes(), 3);
    collector.clearAllFilters(counted);
    collector.deleteAllFilters(counted);
    EXPECT_EQ(counter.flushes(), 3);
}

TEST_F(QuardexTest, DeletingAllSaysSoAlsoWithoutFilters) {
    collector.deleteAllFilters(out);
    EXPECT_EQ(out.str(), "Deleting all filters except static filters\n");
}

TEST_F(QuardexTest, DeletesStaticFiltersInSilence) {
    create({.id = 1, .isStatic = Static::Yes});
    create({.id = 2, .isStatic = Static::Yes});
    collector.deleteStaticFilters();
    EXPECT_FALSE(exists(1));
    EXPECT_FALSE(exists(2));
    EXPECT_EQ(globallyHeld(), 0);
}

TEST_F(QuardexTest, ClearsEveryFilterEnabledOrNot) {
    create({.id = 2});
    create({.id = 1, .enabled = Enabled::No});
    feed(Batch().measurement("a:b:1", 5));
    collector.clearAllFilters(out);
    EXPECT_EQ(out.str(),
              "Clearing data for FilterId 1\nClearing data for FilterId 2\n"
              "Clearing all filter data complete.\n");
    EXPECT_THAT(held(2), IsEmpty());
}

TEST_F(QuardexTest, ClearingWithoutFiltersSaysSo) {
    collector.clearAllFilters(out);
    EXPECT_EQ(out.str(), "No Filter(s) found\n");
}

// --- Pulling -----------------------------------------------------------------------------------

TEST_F(QuardexTest, PullNeedsAllMetaData) {
    RadioMetaData five;
    five.set_swproductnumber("1");
    five.set_swproductrevision("2");
    five.set_hwproductnumber("3");
    five.set_hwproductrevision("4");
    five.set_hwserialnumber("5");
    feedMetaData(five);
    create({.id = 1});
    feed(Batch().measurement("a:b:1", 5));
    std::string output = "before";
    EXPECT_EQ(collector.pullFilterData(FilterId{1}, Clear::Yes, output), ErrorType::MetaDataNotSet);
    EXPECT_EQ(output, "before");
    EXPECT_THAT(held(1), ElementsAre(5));
}

TEST_F(QuardexTest, FailedPullTakesTheClockAnchor) {
    const auto before = std::chrono::system_clock::now();
    std::string output;
    EXPECT_EQ(collector.pullFilterData(FilterId{1}, Clear::No, output), ErrorType::MetaDataNotSet);
    const auto after = std::chrono::system_clock::now();
    const auto anchor = collector.getClockAnchor();
    EXPECT_GE(anchor.second, before);
    EXPECT_LE(anchor.second, after);
}

TEST_F(QuardexTest, PullOfAnUnknownFilterFails) {
    feedMetaData();
    std::string output;
    EXPECT_EQ(collector.pullFilterData(FilterId{1}, Clear::No, output), ErrorType::NoSuchFilter);
}

TEST_F(QuardexTest, PullOfADisabledFilterFailsAndLeavesTheOutput) {
    feedMetaData();
    create({.id = 1, .enabled = Enabled::No});
    std::string output = "before";
    EXPECT_EQ(collector.pullFilterData(FilterId{1}, Clear::No, output), ErrorType::FilterDisabled);
    EXPECT_EQ(output, "before");
}

TEST_F(QuardexTest, PullOfAnEmptyFilterHasNoDataYetButCountsAsUse) {
    feedMetaData();
    create({.id = 1, .isStatic = Static::Yes});
    feed(Batch().measurement("a:b:1", 5));
    std::string output = "before";
    EXPECT_EQ(collector.pullFilterData(FilterId{1}, Clear::No, output), ErrorType::NoDataYet);
    EXPECT_EQ(output, "before");

    feed(Batch().measurement("a:b:1", 6));
    EXPECT_EQ(collector.pullFilterData(FilterId{1}, Clear::No, output), ErrorType::NoError);
    EXPECT_THAT(held(1), ElementsAre(6));
}

TEST_F(QuardexTest, PullGivesVersionMetaDataAndCollections) {
    feedMetaData();
    create({.id = 1});
    collector.setClockAnchor(ClockAnchor{time_point(seconds(10)), WallTime(seconds(1000))});
    collector.setCurrTime(time_point(seconds(12)));
    feed(Batch().measurement("a:b:1", 5));
    std::string output;
    ASSERT_EQ(collector.pullFilterData(FilterId{1}, Clear::No, output), ErrorType::NoError);
    InfoObjectCollections collections;
    ASSERT_TRUE(collections.ParseFromString(output));
    EXPECT_EQ(collections.version(), 1);
    EXPECT_EQ(collections.radiometadata().hwserialnumber(), "5");
    ASSERT_EQ(collections.measurementcollections_size(), 1);
    EXPECT_EQ(collections.measurementcollections(0).id(), 1);
    EXPECT_THAT(collections.measurementcollections(0).timestamps(), ElementsAre(1002));
}

TEST_F(QuardexTest, PullToKeepKeepsAndPullToClearClears) {
    feedMetaData();
    create({.id = 1});
    feed(Batch().measurement("a:b:1", 5));
    std::string first;
    std::string second;
    std::string third;
    EXPECT_EQ(collector.pullFilterData(FilterId{1}, Clear::No, first), ErrorType::NoError);
    EXPECT_EQ(collector.pullFilterData(FilterId{1}, Clear::Yes, second), ErrorType::NoError);
    EXPECT_EQ(first, second);
    EXPECT_EQ(collector.pullFilterData(FilterId{1}, Clear::No, third), ErrorType::NoDataYet);
}

TEST_F(QuardexTest, PullsAppendToTheOutput) {
    feedMetaData();
    create({.id = 1});
    feed(Batch().measurement("a:b:1", 5));
    std::string once;
    collector.pullFilterData(FilterId{1}, Clear::No, once);
    std::string twice = once;
    collector.pullFilterData(FilterId{1}, Clear::No, twice);
    EXPECT_EQ(twice, once + once);
}

TEST_F(QuardexTest, PullUsesTheTimeOfTheLastBatch) {
    create({.id = 1, .statements = {"max duration 10 100"}});
    collector.setCurrTime(time_point(seconds(0)));
    feed(Batch().measurement("a:b:1", 5));
    EXPECT_THAT(held(1), IsEmpty());
    collector.setCurrTime(time_point(seconds(10)));
    EXPECT_THAT(held(1), ElementsAre(5));
}

TEST_F(QuardexTest, SampleBeforeTheFirstBatchIsAtTheClocksZero) {
    create({.id = 1});
    const InfoObject object(InfoObjectId{1}, "a:b:1", InfoObjectType::Measurement, "", "", "", {});
    collector.handleMeasurement(object, "", V1::MeasurementData{5});
    collector.setClockAnchor(ClockAnchor{time_point{}, WallTime(seconds(77))});
    feedMetaData();
    std::string output;
    ASSERT_EQ(collector.pullFilterData(FilterId{1}, Clear::No, output), ErrorType::NoError);
    InfoObjectCollections collections;
    ASSERT_TRUE(collections.ParseFromString(output));
    EXPECT_THAT(collections.measurementcollections(0).timestamps(), ElementsAre(77));
}

TEST_F(QuardexTest, PullBeforeTheFirstBatchIsAtTheClocksZero) {
    create({.id = 1, .statements = {"max duration 1 100"}});
    const InfoObject object(InfoObjectId{1}, "a:b:1", InfoObjectType::Measurement, "", "", "", {});
    collector.handleMeasurement(object, "", V1::MeasurementData{5});
    EXPECT_THAT(held(1), IsEmpty()) << "no second has passed since the sample";
    collector.setCurrTime(time_point(seconds(3)));
    EXPECT_THAT(held(1), ElementsAre(5, 5, 5)) << "the sample's window began at the clock's zero";
}

// --- Printing ----------------------------------------------------------------------------------

TEST_F(QuardexTest, PrintNeedsNoMetaData) {
    create({.id = 1, .printable = Printable::Yes});
    feed(Batch().counter("plain", 5).counter("plain", 6));
    std::string output = "before";
    EXPECT_EQ(collector.printFilterData(FilterId{1}, std::nullopt, output), ErrorType::NoError);
    EXPECT_THAT(output, HasSubstr("'5', "));
    EXPECT_THAT(output, HasSubstr("'6', "));
    EXPECT_THAT(output, testing::Not(HasSubstr("before")));
}

TEST_F(QuardexTest, PrintShowsTheLastRowsAndNeverClears) {
    create({.id = 1, .printable = Printable::Yes});
    feed(Batch().counter("plain", 5).counter("plain", 6));
    std::string output;
    EXPECT_EQ(collector.printFilterData(FilterId{1}, 1, output), ErrorType::NoError);
    EXPECT_THAT(output, testing::Not(HasSubstr("'5', ")));
    EXPECT_EQ(collector.printFilterData(FilterId{1}, std::nullopt, output), ErrorType::NoError);
    EXPECT_THAT(output, HasSubstr("'5', "));
}

TEST_F(QuardexTest, PrintWithoutAnIdTakesTheFirstPrintableFilter) {
    create({.id = 1});
    create({.id = 2, .statements = {"list count 1"}, .printable = Printable::Yes});
    create({.id = 3, .printable = Printable::Yes});
    feed(Batch().counter("plain", 5).counter("plain", 6));
    std::string output;
    EXPECT_EQ(collector.printFilterData(std::nullopt, std::nullopt, output), ErrorType::NoError);
    EXPECT_THAT(output, testing::Not(HasSubstr("'5', ")));
    EXPECT_THAT(output, HasSubstr("'6', "));
}

TEST_F(QuardexTest, PrintWithoutAnIdDoesNotPassOverADisabledFilter) {
    create({.id = 1, .enabled = Enabled::No, .printable = Printable::Yes});
    create({.id = 2, .printable = Printable::Yes});
    feed(Batch().counter("plain", 5));
    std::string output = "before";
    EXPECT_EQ(collector.printFilterData(std::nullopt, std::nullopt, output),
              ErrorType::FilterDisabled);
    EXPECT_EQ(output, "before");
}

TEST_F(QuardexTest, PrintWithoutAnyPrintableFilterFails) {
    create({.id = 1});
    std::string output;
    EXPECT_EQ(collector.printFilterData(std::nullopt, std::nullopt, output),
              ErrorType::NoSuchFilter);
    EXPECT_EQ(collector.printFilterData(FilterId{1}, std::nullopt, output),
              ErrorType::NoSuchFilter);
    EXPECT_EQ(collector.printFilterData(FilterId{2}, std::nullopt, output),
              ErrorType::NoSuchFilter);
}

TEST_F(QuardexTest, PrintTestsPrintabilityBeforeState) {
    create({.id = 1, .enabled = Enabled::No});
    std::string output;
    EXPECT_EQ(collector.printFilterData(FilterId{1}, std::nullopt, output),
              ErrorType::NoSuchFilter);
}

TEST_F(QuardexTest, PrintOfAnEmptyFilterHasNoDataYet) {
    create({.id = 1, .printable = Printable::Yes});
    std::string output = "before";
    EXPECT_EQ(collector.printFilterData(FilterId{1}, std::nullopt, output), ErrorType::NoDataYet);
    EXPECT_EQ(output, "before");
}

// --- Listing -----------------------------------------------------------------------------------

TEST_F(QuardexTest, ListsNothingWithoutFiltersOfTheKind) {
    EXPECT_EQ(collector.listFilters(Printable::Yes), std::nullopt);
    create({.id = 1, .printable = Printable::Yes});
    EXPECT_EQ(collector.listFilters(Printable::No), std::nullopt);
}

TEST_F(QuardexTest, ListsFiltersInOrderOfIdsWithTheTagsOfAllStatements) {
    create({.id = 2,
            .name = "second",
            .statements = {"tags NET CPU list count 1", "list count 1", "tags CPU list count 2"}});
    create({.id = 1, .name = "first", .enabled = Enabled::No});
    create({.id = 3, .printable = Printable::Yes});
    EXPECT_EQ(collector.listFilters(Printable::No),
              "Current Filter(s):\n"
              " Filter first (1): Enabled: No, FilterTag(s):\n"
              " Filter second (2): Enabled: Yes, FilterTag(s): CPU, NET, CPU\n");
}

TEST_F(QuardexTest, ListsCapturedObjectsOfAPrintableFilterOncePerCutName) {
    create({.id = 1, .name = "f", .printable = Printable::Yes});
    feed(Batch()
             .measurement("a:b:1", 1, "rfBranch=1")
             .measurement("a:b:1", 1, "rfBranch=2")
             .measurement("a:b:2", 1)
             .counter("plain", 1));
    EXPECT_EQ(collector.listFilters(Printable::Yes),
              "Current Filter(s):\n"
              " Filter f (1): Enabled: Yes, FilterTag(s):\n"
              "  name (tags)\n"
              "   a:b (CPU NET)\n"
              "   plain ()\n"
              "\n");
}

TEST_F(QuardexTest, ListsADisabledPrintableFilterWithoutObjects) {
    create({.id = 1, .name = "f", .enabled = Enabled::No, .printable = Printable::Yes});
    EXPECT_EQ(collector.listFilters(Printable::Yes),
              "Current Filter(s):\n Filter f (1): Enabled: No, FilterTag(s):\n");
}

// --- Teardown ----------------------------------------------------------------------------------

TEST_F(QuardexTest, GoesWithFullFiltersWithoutTouchingDeadBudgets) {
    FailingResource heap;
    const DefaultResourceScope scope(&heap);
    auto doomed = std::make_unique<Quardex>();
    doomed->allocateGlobalMemory();
    doomed->determineMaxNumberOfFilters();
    doomed->createFilter(FilterId{1}, "f", parsedAll({"list count 100 max count 1 10"}), 0,
                         Enabled::Yes, Static::No, Printable::No);
    doomed->handleBeProcessBatchesUreq(
        Batch().measurement("a:b:1", 5).record("rec", {1, 2, 3}).message().get());
    EXPECT_GT(doomed->getGlobalMemory()->getContentResource()->getAllocatedSize(), 0U);
    EXPECT_GE(heap.held(), doomed->getGlobalMemory()->getCommonResource()->getAllocatedSize());
    doomed.reset();
    EXPECT_EQ(heap.held(), 0U);
}

TEST_F(QuardexTest, AllocatingTheBudgetAgainReplacesIt) {
    ASSERT_TRUE(collector.allocateGlobalMemory());
    EXPECT_EQ(collector.getGlobalMemory()->getCommonResource()->getRemainingSize(), 1'000'000);
}

}  // namespace
}  // namespace Qdx::Backend
