#include "captureStatement.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>
#include <typeinfo>

#include "countAggregators.hpp"
#include "countingMemoryResource.hpp"
#include "durationAggregators.hpp"
#include "heapFault.hpp"
#include "listAggregators.hpp"
#include "memoryFaults.hpp"
#include "parsedStatement.hpp"
#include "series.hpp"

namespace Qdx::Backend {
namespace {

using namespace std::chrono_literals;
using Qdx::Test::DefaultResourceScope;
using Qdx::Test::FailingResource;
using Qdx::Test::HeapFault;
using Qdx::Test::parsed;
using Qdx::Test::Point;
using Qdx::Test::record;
using Qdx::Test::RecordingEncoder;
using Qdx::Test::RecordPoint;
using Qdx::Test::sweepAllocations;
using Qdx::Test::textOf;
using Qdx::V1::CounterData;
using Qdx::V1::MeasurementData;
using testing::ElementsAre;
using testing::IsEmpty;

using Allocator = std::pmr::polymorphic_allocator<>;
using Entries = std::pmr::vector<CaptureStatement::AggregatorEntry>;

// Statements order by their aggregators, so two of them are told apart by that alone.
bool isSame(const CaptureStatement& one, const CaptureStatement& other) {
    return !(one < other) && !(other < one);
}

// What a failed parse leaves over; "parsed" if it didn't fail.
std::string leftOver(std::string text) {
    return CaptureStatement::parse(text) ? "parsed" : text;
}

InfoObject object(const std::set<std::string>& tags = {}) {
    return {InfoObjectId{7}, "object", InfoObjectType::Measurement, "", "1", "", tags};
}

// Parameters as text.
std::string describe(const AggregatorParamsVariant& params) {
    using namespace AggregatorParams;
    std::ostringstream out;
    if (const auto* windows = std::get_if<DurationNonList>(&params))
        out << windows->periodSeconds.count() << " s x " << windows->windows;
    else if (const auto* seconds = std::get_if<DurationList>(&params))
        out << seconds->periodSeconds.count() << " s";
    else if (const auto* samples = std::get_if<CountNonList>(&params))
        out << samples->samplesPerWindow << " x " << samples->windows;
    else if (const auto* size = std::get_if<CountList>(&params))
        out << size->size;
    return out.str();
}

std::string kindOf(const Aggregator& aggregator) {
    const std::map<std::string, std::string> kinds{
        {typeid(CountMinAggregator).name(), "count min "},
        {typeid(CountMaxAggregator).name(), "count max "},
        {typeid(CountAverageAggregator).name(), "count average "},
        {typeid(CountSumAggregator).name(), "count sum "},
        {typeid(DurationMinAggregator).name(), "duration min "},
        {typeid(DurationMaxAggregator).name(), "duration max "},
        {typeid(DurationAverageAggregator).name(), "duration average "},
        {typeid(DurationSumAggregator).name(), "duration sum "},
        {typeid(CountListAggregator<MeasurementData>).name(), "measurements "},
        {typeid(CountListAggregator<CounterData>).name(), "counters "},
        {typeid(CountListAggregator<RecordData>).name(), "records "},
        {typeid(DurationListAggregator<MeasurementData>).name(), "measurements of "},
        {typeid(DurationListAggregator<CounterData>).name(), "counters of "},
        {typeid(DurationListAggregator<RecordData>).name(), "records of "}};
    return kinds.at(typeid(aggregator).name());
}

// Creates aggregators outside any budget.
template <typename T>
Entries create(const CaptureStatement& statement, const T& value,
               const InfoObject& infoObject = object(), const std::string& context = "") {
    Entries entries(std::pmr::new_delete_resource());
    statement.createAggregators(entries, infoObject, context, time_point(1s), value,
                                std::pmr::new_delete_resource(), std::pmr::new_delete_resource());
    return entries;
}

template <typename T>
std::vector<std::string> created(const std::string& text, const T& value,
                                 const InfoObject& infoObject = object(),
                                 const std::string& context = "") {
    std::vector<std::string> all;
    for (const auto& [aggregator, params] : create(parsed(text), value, infoObject, context))
        all.push_back(kindOf(*aggregator) + describe(params));
    return all;
}

constexpr MeasurementData measurement{5};
constexpr CounterData counter{5};

TEST(CaptureStatement, ParsesACountList) {
    EXPECT_THAT(created("list count 5", measurement), ElementsAre("measurements 5"));
}

TEST(CaptureStatement, ParsesADurationList) {
    EXPECT_THAT(created("list duration 60", measurement), ElementsAre("measurements of 60 s"));
}

TEST(CaptureStatement, ParsesAllMethodsOfCountWindows) {
    EXPECT_THAT(created("min count 1 2 max count 2 4 average count 3 9", measurement),
                ElementsAre("count min 1 x 2", "count max 2 x 2", "count average 3 x 3"));
    EXPECT_THAT(created("sum count 10 50", counter), ElementsAre("count sum 10 x 5"));
}

TEST(CaptureStatement, ParsesAllMethodsOfDurationWindows) {
    EXPECT_THAT(
        created("min duration 1 2 max duration 2 4 average duration 3 9", measurement),
        ElementsAre("duration min 1 s x 2", "duration max 2 s x 2", "duration average 3 s x 3"));
    EXPECT_THAT(created("sum duration 10 50", counter), ElementsAre("duration sum 10 s x 5"));
}

TEST(CaptureStatement, ParsesTagsContextAndWindows) {
    const std::string text = "tags A_B C context rfBranch 1 max duration 60 3600";
    EXPECT_THAT(parsed(text).getTags(), ElementsAre("A_B", "C"));
    EXPECT_THAT(created(text, measurement, object({"A_B", "C", "D"}), "rfBranch=1"),
                ElementsAre("duration max 60 s x 60"));
}

TEST(CaptureStatement, LeavesNothingOverOfAWholeStatement) {
    std::string text = " tags A list count 5";
    EXPECT_TRUE(CaptureStatement::parse(text));
    EXPECT_EQ(text, "");
}

TEST(CaptureStatement, FailsAtOnceWithoutTheLeadingBlank) {
    EXPECT_EQ(leftOver("list count 5"), "list count 5");
    EXPECT_EQ(leftOver("tags A list count 5"), "tags A list count 5");
}

TEST(CaptureStatement, FailsAtTwoBlanks) {
    EXPECT_EQ(leftOver("  list count 5"), "  list count 5");
    EXPECT_EQ(leftOver(" list count  5"), " list count  5");
}

TEST(CaptureStatement, FailsWithoutAnAggregator) {
    EXPECT_EQ(leftOver(""), "");
    EXPECT_EQ(leftOver(" tags A"), "");
    EXPECT_EQ(leftOver(" tags A context rfBranch 1"), "");
}

TEST(CaptureStatement, FailsAtTheClauseThatItCannotRead) {
    EXPECT_EQ(leftOver(" list count 5 list size 5"), " list size 5");
    EXPECT_EQ(leftOver(" list count 5 nonsense"), " nonsense");
    EXPECT_EQ(leftOver(" median count 5 10"), " median count 5 10");
    EXPECT_EQ(leftOver(" min count 5"), " min count 5");
    EXPECT_EQ(leftOver(" list count"), " list count");
}

TEST(CaptureStatement, FindsNoClauseBehindALineEnd) {
    EXPECT_EQ(leftOver("\n list count 5"), "\n list count 5");
}

TEST(CaptureStatement, TakesTagsBeforeContextBeforeAggregatorsOnly) {
    EXPECT_EQ(leftOver(" context rfBranch 1 tags A list count 1"), " tags A list count 1");
    EXPECT_EQ(leftOver(" list count 1 tags A"), " tags A");
    EXPECT_EQ(leftOver(" list count 1 context rfBranch 1"), " context rfBranch 1");
}

TEST(CaptureStatement, StopsAtASecondTagsClause) {
    EXPECT_EQ(leftOver(" tags A tags B list count 1"), " tags B list count 1");
}

TEST(CaptureStatement, StopsAtASecondContextClause) {
    EXPECT_EQ(leftOver(" context rfBranch 1 context rfBranch 2 list count 1"),
              " context rfBranch 2 list count 1");
}

TEST(CaptureStatement, TakesAKeyTwiceInOneContextClause) {
    const std::string text = "context rfBranch 1 rfBranch 2 list count 1";
    EXPECT_THAT(created(text, measurement, object(), "rfBranch=1"), ElementsAre("measurements 1"));
    EXPECT_THAT(created(text, measurement, object(), "rfBranch=2"), ElementsAre("measurements 1"));
    EXPECT_THAT(created(text, measurement, object(), "rfBranch=3"), IsEmpty());
}

TEST(CaptureStatement, MergesRepeatedTags) {
    EXPECT_THAT(parsed("tags B A B list count 1").getTags(), ElementsAre("A", "B"));
}

TEST(CaptureStatement, EndsTagsAtTheFirstWordThatIsNone) {
    EXPECT_EQ(leftOver(" tags A b list count 1"), " b list count 1");
    EXPECT_EQ(leftOver(" tags A1 list count 1"), "1 list count 1");
    EXPECT_EQ(leftOver(" tags list count 1"), " tags list count 1");
}

TEST(CaptureStatement, FailsAtAnUnknownContextKey) {
    EXPECT_EQ(leftOver(" context nowhere 1 list count 1"), " context nowhere 1 list count 1");
    EXPECT_EQ(leftOver(" tags A context rfBranch 1 nowhere 1 list count 1"),
              " context rfBranch 1 nowhere 1 list count 1");
}

TEST(CaptureStatement, TakesContextValuesOfThirtyTwoBits) {
    EXPECT_THAT(created("context rfBranch 2147483647 list count 1", measurement, object(),
                        "rfBranch=2147483647"),
                ElementsAre("measurements 1"));
    EXPECT_THAT(created("context rfBranch -2147483648 list count 1", measurement, object(),
                        "rfBranch=-2147483648"),
                ElementsAre("measurements 1"));
}

TEST(CaptureStatement, FailsAtAContextValueOutsideThirtyTwoBits) {
    for (const std::string value : {"2147483648", "-2147483649", "99999999999999999999"}) {
        const auto text = " context rfBranch " + value + " list count 1";
        EXPECT_EQ(leftOver(text), text);
    }
}

TEST(CaptureStatement, TakesAZeroPaddedContextValue) {
    EXPECT_THAT(created("context rfBranch 007 list count 1", measurement, object(), "rfBranch=7"),
                ElementsAre("measurements 1"));
}

TEST(CaptureStatement, MakesAWindowChainOfNeighbouringNumbers) {
    EXPECT_THAT(created("min count 10 100 1000 max count 5 10", measurement),
                ElementsAre("count min 10 x 10", "count min 100 x 10", "count max 5 x 2"));
    EXPECT_THAT(created("max duration 60 3600 86400", measurement),
                ElementsAre("duration max 60 s x 60", "duration max 3600 s x 24"));
}

TEST(CaptureStatement, TakesAggregatorsInAnyOrder) {
    EXPECT_THAT(created("list count 1 min duration 1 1 list duration 2 max count 3 3", measurement),
                ElementsAre("measurements 1", "duration min 1 s x 1", "measurements of 2 s",
                            "count max 3 x 1"));
}

TEST(CaptureStatement, FailsAtANumberThatDoesNotDivideTheNext) {
    EXPECT_EQ(leftOver(" min count 10 25"), " min count 10 25");
    EXPECT_EQ(leftOver(" list count 1 max duration 10 20 30"), " max duration 10 20 30");
    EXPECT_EQ(leftOver(" min count 10 5"), " min count 10 5");
}

TEST(CaptureStatement, TakesZeroAfterAnyNumber) {
    EXPECT_THAT(created("min count 0 0", measurement), ElementsAre("count min 0 x 0"));
    EXPECT_THAT(created("min count 5 0", measurement), ElementsAre("count min 5 x 0"));
    EXPECT_THAT(created("min duration 5 0 0", measurement),
                ElementsAre("duration min 5 s x 0", "duration min 0 s x 0"));
}

TEST(CaptureStatement, FailsAtZeroBeforeANumber) {
    EXPECT_EQ(leftOver(" min count 0 5"), " min count 0 5");
}

TEST(CaptureStatement, LeavesTextThatFollowsANumberDirectly) {
    EXPECT_EQ(leftOver(" min count 10 100abc"), "abc");
    EXPECT_EQ(leftOver(" list count 5s"), "s");
}

TEST(CaptureStatement, TakesTheLargestNumber) {
    EXPECT_THAT(created("list count 4294967295", measurement),
                ElementsAre("measurements 4294967295"));
    EXPECT_THAT(created("min duration 4294967295 4294967295", measurement),
                ElementsAre("duration min 4294967295 s x 1"));
}

TEST(CaptureStatement, ConsumesAWindowClauseWhoseFirstNumberIsTooLarge) {
    EXPECT_EQ(leftOver(" min count 4294967296 8"), "");
    EXPECT_THAT(created("min count 4294967296 8 list count 1", measurement),
                ElementsAre("measurements 1"));
}

TEST(CaptureStatement, ConsumesAWindowClauseWhoseSecondNumberIsTooLarge) {
    EXPECT_EQ(leftOver(" min duration 8 4294967296"), "");
}

TEST(CaptureStatement, KeepsTheWindowsBeforeANumberThatIsTooLarge) {
    EXPECT_THAT(created("max count 5 10 4294967296 7", measurement),
                ElementsAre("count max 5 x 2"));
}

TEST(CaptureStatement, ThrowsAtAListNumberThatIsTooLarge) {
    for (const std::string kind : {"count", "duration"}) {
        std::string text = " list " + kind + " 4294967296";
        EXPECT_EQ(textOf<std::out_of_range>([&] { CaptureStatement::parse(text); }),
                  "vector::_M_range_check: __n (which is 0) >= this->size() (which is 0)");
        EXPECT_EQ(text, " list " + kind + " 4294967296");
    }
}

TEST(CaptureStatement, EachTryConsumesOnlyItsOwnClause) {
    CaptureStatement statement(std::pmr::new_delete_resource());
    std::string text = " list count 1";
    EXPECT_FALSE(statement.tryParseCountNonList(text));
    EXPECT_FALSE(statement.tryParseDurationNonList(text));
    EXPECT_FALSE(statement.tryParseDurationList(text));
    statement.tryParseTags(text);
    statement.tryParseContext(text);
    EXPECT_EQ(text, " list count 1");
    EXPECT_TRUE(statement.tryParseCountList(text));
    EXPECT_EQ(text, "");
}

TEST(CaptureStatement, FailedWindowTryLeavesTextAndStatement) {
    CaptureStatement statement(std::pmr::new_delete_resource());
    std::string text = " min count 10 20 25";
    EXPECT_FALSE(statement.tryParseCountNonList(text));
    EXPECT_EQ(text, " min count 10 20 25");
    EXPECT_THAT(create(statement, measurement), IsEmpty());
}

// A statement of exactly that many bytes in one clause.
std::string longText(const std::string& head, const std::string& word, std::size_t size,
                     const std::string& tail) {
    std::string text = head;
    while (text.size() + word.size() + tail.size() <= size)
        text += word;
    return text + std::string(size - text.size() - tail.size(), word.back()) + tail;
}

TEST(CaptureStatement, ParsesTextsOfTheMaximumSizeOnAnOrdinaryStack) {
    const auto size = CaptureStatement::maxTextSize;
    const std::string tail = " list count 1";
    for (auto text :
         {longText(" tags", " A", size, tail), longText(" tags A", "B", size, tail),
          longText(" context", " rfBranch 1", size, tail), longText(" min count", " 1", size, ""),
          longText(" sum duration 1 ", "0", size, ""), longText(" list count ", "0", size, "")}) {
        ASSERT_EQ(text.size(), size);
        const auto start = text.substr(0, 20);
        EXPECT_NO_THROW(CaptureStatement::parse(text)) << start;
        EXPECT_EQ(text, "") << start;
    }
}

TEST(CaptureStatement, RefusesTextsOverTheMaximumSizeUntouched) {
    const auto text = longText(" tags", " A", CaptureStatement::maxTextSize + 1, " list count 1");
    EXPECT_EQ(leftOver(text), text);
}

TEST(CaptureStatement, TakesBytesOfAnyValueForText) {
    EXPECT_EQ(leftOver(" list count 5\xFF\x80"), "\xFF\x80");
    const std::string withNul(" list count 5\0 list", 19);
    EXPECT_EQ(leftOver(withNul), withNul.substr(13));
}

TEST(CaptureStatement, ParsedStatementStandsOnTheHeapAndNotOnTheDefaultResource) {
    const DefaultResourceScope noDefault(std::pmr::null_memory_resource());
    const auto statement = parsed(
        "tags A_TAG_THAT_IS_LONGER_THAN_A_SMALL_BUFFER context aasRfPortPolarization 1 list count "
        "1");
    EXPECT_EQ(statement.getTags().get_allocator().resource(), std::pmr::new_delete_resource());
    EXPECT_EQ(statement.getTags().begin()->get_allocator().resource(),
              std::pmr::new_delete_resource());
}

TEST(CaptureStatement, NewStatementStandsOnTheAllocatorItWasGiven) {
    FailingResource resource;
    {
        const DefaultResourceScope noDefault(std::pmr::null_memory_resource());
        CaptureStatement statement(&resource);
        std::string text =
            " tags A_TAG_THAT_IS_LONGER_THAN_A_SMALL_BUFFER context rfBranch 1 list count 1";
        statement.tryParseTags(text);
        // The node and its text.
        EXPECT_EQ(resource.allocations(), 2U);
        statement.tryParseContext(text);
        EXPECT_EQ(resource.allocations(), 3U);
        statement.tryParseCountList(text);
        EXPECT_EQ(resource.allocations(), 4U);
    }
    EXPECT_EQ(resource.held(), 0U);
}

TEST(CaptureStatement, CopiesInsideABudgetedVectorTakeTheDefaultResource) {
    static_assert(!std::uses_allocator_v<CaptureStatement, Allocator>);
    const std::vector statements{parsed("tags A list count 1"), parsed("tags B list count 2")};
    FailingResource filter;
    FailingResource standard;
    {
        const DefaultResourceScope scope(&standard);
        const std::pmr::vector<CaptureStatement> copies(statements.begin(), statements.end(),
                                                        &filter);
        EXPECT_EQ(filter.held(), 2 * sizeof(CaptureStatement));
        EXPECT_EQ(filter.allocations(), 1U);
        EXPECT_EQ(standard.allocations(), 4U);
        for (const auto& copy : copies)
            EXPECT_EQ(copy.getTags().get_allocator().resource(), &standard);
    }
    EXPECT_EQ(standard.held(), 0U);
}

TEST(CaptureStatement, OrdersByTagsFirst) {
    EXPECT_LT(parsed("list count 9"), parsed("tags A list count 1"));
    EXPECT_LT(parsed("tags A B list count 9"), parsed("tags B list count 1"));
    EXPECT_LT(parsed("tags A list count 9"), parsed("tags A B list count 1"));
}

TEST(CaptureStatement, OrdersByMethodThenByKindThenByFields) {
    // average, max, sum, min, list
    const std::vector<std::string> ascending{
        "average duration 2 2", "average duration 2 4",
        "average duration 3 3", "average count 2 2",
        "average count 2 4",    "average count 3 3",
        "max count 1 1",        "sum count 1 1",
        "min duration 1 1",     "min duration 1 1 list count 1",
        "list duration 5",      "list duration 6",
        "list count 5",         "list count 5 list duration 1",
        "list count 3000000000"};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j)
            EXPECT_EQ(parsed(ascending[i]) < parsed(ascending[j]), i < j)
                << ascending[i] << " and " << ascending[j];
    }
}

TEST(CaptureStatement, ContextTakesNoPartInTheOrder) {
    EXPECT_TRUE(isSame(parsed("tags A context rfBranch 1 list count 1"),
                       parsed("tags A context carrierId 2 list count 1")));
    EXPECT_TRUE(
        isSame(parsed("tags A context rfBranch 1 list count 1"), parsed("tags A list count 1")));
}

TEST(CaptureStatement, CapturesOnlyObjectsWithAllTags) {
    const std::string text = "tags A B list count 1";
    EXPECT_THAT(created(text, measurement, object({"A"})), IsEmpty());
    EXPECT_THAT(created(text, measurement, object()), IsEmpty());
    EXPECT_THAT(created(text, measurement, object({"A", "B", "C"})), ElementsAre("measurements 1"));
}

TEST(CaptureStatement, CapturesAnyObjectWithoutTags) {
    EXPECT_THAT(created("list count 1", measurement, object()), ElementsAre("measurements 1"));
}

TEST(CaptureStatement, CapturesOnlyContextsOfItsSelector) {
    const std::string text = "context rfBranch 3 carrierId 7 list count 1";
    EXPECT_THAT(created(text, measurement, object(), "rfBranch=3,carrierId=7"),
                ElementsAre("measurements 1"));
    EXPECT_THAT(created(text, measurement, object(), "rfBranch=3"), IsEmpty());
    EXPECT_THAT(created(text, measurement, object(), "rfBranch=3,carrierId=8"), IsEmpty());
    EXPECT_THAT(created(text, measurement, object(), ""), IsEmpty());
}

TEST(CaptureStatement, CapturesAnyContextWithoutSelector) {
    EXPECT_THAT(created("list count 1", measurement, object(), "no context at all"),
                ElementsAre("measurements 1"));
}

TEST(CaptureStatement, StatementThatDoesNotMatchLeavesTheOutputAsItWas) {
    auto entries = create(parsed("list count 1"), measurement);
    const auto* before = entries[0].first.get();
    parsed("tags A list count 2")
        .createAggregators(entries, object(), "", time_point(1s), measurement,
                           std::pmr::new_delete_resource(), std::pmr::new_delete_resource());
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].first.get(), before);
}

TEST(CaptureStatement, AppendsBehindWhatOtherStatementsCreated) {
    auto entries = create(parsed("list count 1"), measurement);
    parsed("list count 2 max count 1 1")
        .createAggregators(entries, object(), "", time_point(1s), measurement,
                           std::pmr::new_delete_resource(), std::pmr::new_delete_resource());
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(describe(entries[0].second), "1");
    EXPECT_EQ(describe(entries[1].second), "2");
    EXPECT_EQ(kindOf(*entries[2].first), "count max ");
}

const std::string everything =
    "min count 1 1 max count 1 1 average count 1 1 sum count 1 1 min duration 1 1 max duration 1 1"
    " average duration 1 1 sum duration 1 1 list count 1 list duration 1";

TEST(CaptureStatement, CreatesForMeasurementsAllButSums) {
    EXPECT_THAT(created(everything, measurement),
                ElementsAre("count min 1 x 1", "count max 1 x 1", "count average 1 x 1",
                            "duration min 1 s x 1", "duration max 1 s x 1",
                            "duration average 1 s x 1", "measurements 1", "measurements of 1 s"));
}

TEST(CaptureStatement, CreatesForCountersSumsAndLists) {
    EXPECT_THAT(created(everything, counter), ElementsAre("count sum 1 x 1", "duration sum 1 s x 1",
                                                          "counters 1", "counters of 1 s"));
}

TEST(CaptureStatement, CreatesForRecordsLists) {
    EXPECT_THAT(created(everything, record("r")), ElementsAre("records 1", "records of 1 s"));
}

TEST(CaptureStatement, CreatesNothingWhereNoClauseFitsTheKind) {
    EXPECT_THAT(created("tags X sum count 10 100", measurement, object({"X"})), IsEmpty());
    EXPECT_THAT(created("average duration 60 3600", record("r")), IsEmpty());
    EXPECT_THAT(created("min count 1 1", counter), IsEmpty());
}

TEST(CaptureStatement, FirstSampleEntersThroughTheConstructor) {
    RecordingEncoder encoder;
    const std::pair<InfoObjectId, std::string> key{InfoObjectId{7}, ""};
    for (const auto& [aggregator, params] :
         create(parsed("list count 3 min count 1 3"), measurement))
        aggregator->pullData(params, time_point(1s), key, &encoder);
    for (const auto& [aggregator, params] : create(parsed("list duration 3"), record("r")))
        aggregator->pullData(params, time_point(1s), key, &encoder);
    EXPECT_THAT(encoder.points(), ElementsAre(Point{1s, 5}, Point{1s, 5}));
    EXPECT_THAT(encoder.recordPoints(), ElementsAre(RecordPoint{1s, "r"}));
}

// The bytes that allocate_shared takes for one object of the class.
template <typename Class, typename T>
std::size_t blockSize(const AggregatorParamsVariant& params, const T& value) {
    FailingResource main;
    const auto aggregator = std::allocate_shared<Class>(
        std::pmr::polymorphic_allocator<Class>(&main), params, time_point(1s), value,
        Allocator(std::pmr::new_delete_resource()), Allocator(std::pmr::new_delete_resource()));
    return main.held();
}

TEST(CaptureStatement, ObjectsStandOnMainInOneBlockEachAndSamplesOnContent) {
    using namespace AggregatorParams;
    FailingResource content;
    FailingResource main;
    const auto statement = parsed("list count 3 average duration 60 3600");
    {
        const DefaultResourceScope noDefault(std::pmr::null_memory_resource());
        Entries entries(std::pmr::new_delete_resource());
        statement.createAggregators(entries, object(), "", time_point(1s), measurement, &content,
                                    &main);
        EXPECT_EQ(main.allocations(), 2U);
        EXPECT_EQ(main.held(),
                  (blockSize<CountListAggregator<MeasurementData>>(CountList{3}, measurement) +
                   blockSize<DurationAverageAggregator>(DurationNonList{60s, 60}, measurement)));
        EXPECT_EQ(content.held(), sizeof(std::pair<time_point, MeasurementData>));
    }
    EXPECT_EQ(main.held(), 0U);
    EXPECT_EQ(content.held(), 0U);
}

TEST(CaptureStatement, RefusalOfMainPassesThroughAndKeepsWhatWasCreated) {
    FailingResource main(1);
    Entries entries(std::pmr::new_delete_resource());
    EXPECT_THROW(parsed("list count 1 list count 2")
                     .createAggregators(entries, object(), "", time_point(1s), measurement,
                                        std::pmr::new_delete_resource(), &main),
                 std::bad_alloc);
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(describe(entries[0].second), "1");
}

TEST(CaptureStatement, CreationSurvivesTheFailureOfEachAllocation) {
    const auto statement = parsed(everything);
    const auto sweep = [&](const auto& value, std::size_t whole) {
        return sweepAllocations([&](FailingResource& resource) {
            const DefaultResourceScope noDefault(std::pmr::null_memory_resource());
            Entries entries(&resource);
            try {
                statement.createAggregators(entries, object(), "", time_point(1s), value, &resource,
                                            &resource);
                ASSERT_EQ(entries.size(), whole);
            } catch (const std::bad_alloc&) {
                ASSERT_TRUE(resource.hasFailed());
                ASSERT_LT(entries.size(), whole);
            }
        });
    };
    // Each object; each buffer of samples, of which three windows of seconds have none yet; the
    // output as it grows to 1, 2, 4, 8.
    EXPECT_EQ(sweep(measurement, 8), 8U + 5U + 4U);
    // Two objects of lists, a sum of samples and one of seconds.
    EXPECT_EQ(sweep(counter, 4), 4U + 3U + 3U);
    // Two lists, each with a buffer and a record.
    EXPECT_EQ(sweep(record("r"), 2), 2U + 4U + 2U);
}

TEST(CaptureStatement, ParsingIsWholeOrRefusedWhereverTheHeapRunsOut) {
    const std::string clauses =
        "tags A B_TAG_THAT_IS_LONGER_THAN_A_SMALL_BUFFER context rfBranch 1 min count 10 100 1000";
    const auto text = " " + clauses;
    const auto whole = parsed(clauses);
    std::size_t failing = 0;
    for (bool failed = true; failed; ++failing) {
        auto rest = text;
        std::optional<CaptureStatement> statement;
        {
            const HeapFault fault(failing);
            try {
                statement = CaptureStatement::parse(rest);
            } catch (const std::bad_alloc&) {
                EXPECT_TRUE(fault.hasFailed());
            }
            failed = fault.hasFailed();
        }
        ASSERT_TRUE(text.ends_with(rest)) << "allocation " << failing;
        ASSERT_TRUE(failed || statement) << "allocation " << failing;
        ASSERT_TRUE(!statement || isSame(*statement, whole)) << "allocation " << failing;
    }
    EXPECT_GT(failing, 100U);
}

}  // namespace
}  // namespace Qdx::Backend
