// Memory that runs out at every place of every operation leaves the collector whole: each test
// fails allocation 0, 1, 2, ... of one operation until it needs none of them.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>

#include "InfoObjectCollections.pb.h"
#include "batch.hpp"
#include "blockLedger.hpp"
#include "frontendMessages.hpp"
#include "heapFault.hpp"
#include "memoryFaults.hpp"
#include "parsedStatement.hpp"
#include "quardex.hpp"
#include "quardexShellCommands.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"
#include "wholeMetaData.hpp"

namespace Qdx::Backend {
namespace {

using Qdx::Test::Batch;
using Qdx::Test::BlockLedger;
using Qdx::Test::DefaultResourceScope;
using Qdx::Test::HeapFault;
using Qdx::Test::heapUse;
using Qdx::Test::Outage;
using Qdx::Test::TraceRecorder;
using std::chrono::seconds;

const char* const catalogue = R"(<infoObjectList>
    <tags><tag name="A"/><tag name="B"/></tags>
    <objects>
        <object id="1" name="unit:level" type="meas"><tags>A</tags></object>
        <object id="2" name="unit:packets" type="counter"><tags>A</tags></object>
        <object id="3" name="unit:event" type="record"><tags>A</tags></object>
        <object id="4" name="unit:unwanted" type="meas"/>
    </objects></infoObjectList>)";

constexpr unsigned long globalLimit = 1'000'000;

// Longer than the small buffer of a string, as all texts here.
const std::string context = "rfBranch=1,carrierId=12345";
const std::string otherContext = "rfBranch=2,carrierId=12345";

// The values of one collection with their seconds, oldest first.
using Values = std::vector<std::string>;
// All that a filter keeps, by object, context and aggregation.
using Data = std::map<std::string, Values>;

// In the name of a series, behind object and context and before the aggregation.
const std::string endOfPair = " | ";

template <typename Collection>
void addData(Data& data, Collection collection) {
    Values values;
    for (int i = 0; i < collection.values_size(); ++i) {
        std::ostringstream text;
        text << collection.timestamps(i) << ": " << collection.values(i);
        values.push_back(text.str());
    }
    const auto pair =
        std::to_string(collection.id()) + " " + collection.context().ShortDebugString();
    collection.clear_id();
    collection.clear_context();
    collection.clear_timestamps();
    collection.clear_values();
    EXPECT_TRUE(data.emplace(pair + endOfPair + collection.ShortDebugString(), values).second);
}

Data dataOf(const std::string& bytes) {
    InfoObjectCollections all;
    EXPECT_TRUE(all.ParseFromString(bytes));
    Data data;
    for (const auto& collection : all.measurementcollections())
        addData(data, collection);
    for (const auto& collection : all.countercollections())
        addData(data, collection);
    for (const auto& collection : all.recordcollections())
        addData(data, collection);
    return data;
}

const std::vector<CaptureStatement>& statementsOf(const std::vector<std::string>& texts) {
    static std::map<std::vector<std::string>, std::vector<CaptureStatement>> parsed;
    const auto known = parsed.find(texts);
    return known != parsed.end() ? known->second
                                 : parsed.emplace(texts, Qdx::Test::parsedAll(texts)).first->second;
}

// A collector whose budget draws on a ledger. Filter 1 is what operations are about, filter 2 is
// its neighbour.
class World {
public:
    explicit World(const std::vector<std::string>& filterStatements)
        : statements(statementsOf(filterStatements)) {
        {
            const DefaultResourceScope scope(&memory);
            collector.allocateGlobalMemory();
        }
        collector.determineMaxNumberOfFilters();
        collector.setClockAnchor(ClockAnchor{time_point{}, WallTime{}});
        Qdx::Test::sendWholeMetaData(collector);
        create(2);
        feed(Batch().measurement("unit:level", 7, context).record("unit:event", {'7'}, context));
        create(1);
    }

    ErrorType create(std::int64_t id) {
        static const std::string name = "a filter with a long name";
        return collector.createFilter(FilterId{id}, name, statements, globalLimit / 2, Enabled::Yes,
                                      Static::No, Printable::Yes);
    }

    void remove(std::int64_t id) {
        std::ostringstream out;
        collector.deleteFilter(FilterId{id}, out);
    }

    void at(std::int64_t second) { collector.setCurrTime(time_point(seconds(second))); }

    void feed(Batch batch) { handle(*batch.message()); }
    void handle(ozo_msg& batch) { collector.handleBeProcessBatchesUreq(&batch); }

    Data data(std::int64_t id) {
        const auto encoder = OutputEncoderIf::create({time_point{}, WallTime{}});
        const auto result = collector.prepareFilterData(FilterId{id}, Clear::No, encoder.get());
        return result == ErrorType::NoError ? dataOf(encoder->build()) : Data{};
    }

    bool exists(std::int64_t id) const {
        try {
            static_cast<void>(collector.getFilterMemory(FilterId{id}));
            return true;
        } catch (const std::out_of_range&) {
            return false;
        }
    }

    // What is allocated and what remains make the limits, and the filters together make the global
    // budget.
    void expectBalance() const {
        unsigned long main = 0;
        unsigned long content = 0;
        for (std::int64_t id = 1; id <= 30; ++id) {
            if (!exists(id))
                continue;
            auto* filter = collector.getFilterMemory(FilterId{id});
            expectWhole(*filter->getMainResource(), share(filter->getMaxSize(), 70));
            expectWhole(*filter->getContentResource(), share(filter->getMaxSize(), 99));
            if (filter->getMaxSize()) {
                EXPECT_EQ(filter->getAllocatedSize() + *filter->getRemainingSize(),
                          *filter->getMaxSize());
            }
            main += filter->getMainResource()->getAllocatedSize();
            content += filter->getContentResource()->getAllocatedSize();
        }
        auto* global = collector.getGlobalMemory();
        expectWhole(*global->getMainResource(), share(globalLimit, 70));
        expectWhole(*global->getContentResource(), share(globalLimit, 99));
        expectWhole(*global->getCommonResource(), globalLimit);
        EXPECT_EQ(global->getMainResource()->getAllocatedSize(), main);
        EXPECT_EQ(global->getContentResource()->getAllocatedSize(), content);
        EXPECT_EQ(global->getCommonResource()->getAllocatedSize(), main + content);
        EXPECT_EQ(memory.held(), main + content);
    }

    BlockLedger memory;
    Quardex collector;

private:
    static std::optional<unsigned long> share(std::optional<unsigned long> size, unsigned percent) {
        return size ? std::optional(*size * percent / 100) : std::nullopt;
    }

    static void expectWhole(const CountingMemoryResource& resource,
                            std::optional<unsigned long> limit) {
        if (limit) {
            EXPECT_EQ(resource.getAllocatedSize() + resource.getRemainingSize().value_or(0), *limit)
                << resource.getName();
        }
    }

    const std::vector<CaptureStatement>& statements;
};

enum class Memory { Budget, Heap };

// Which memory runs out, and for how long.
struct Shortage {
    Memory memory;
    Outage outage;
};

// How an attempt under shortage went.
struct Attempt {
    bool failed = false;  // an allocation was refused
    bool left = false;    // std::bad_alloc left the operation
};

Attempt attempt(World& world, const Shortage& shortage, std::size_t failing,
                const std::function<void()>& operation) {
    Attempt result;
    const auto run = [&] {
        try {
            operation();
        } catch (const std::bad_alloc&) {
            result.left = true;
        }
    };
    if (shortage.memory == Memory::Budget) {
        world.memory.failFrom(failing, shortage.outage);
        run();
        result.failed = world.memory.hasFailed();
        world.memory.recover();
    } else {
        const HeapFault fault(failing, shortage.outage);
        run();
        result.failed = fault.hasFailed();
    }
    return result;
}

// Runs a round with allocation 0, 1, 2, ... failing until it meets no failure, after one that meets
// none and takes what the process takes once; each must give back all that it took from the heap,
// up to the blocks that the libraries under the operation lose. Gives the number of failures.
std::size_t sweep(const std::function<Attempt(std::size_t)>& round, std::size_t stride = 1) {
    round(std::numeric_limits<std::size_t>::max());
    TraceRecorder::instance().clear();
    for (std::size_t failing = 0;; failing += stride) {
        SCOPED_TRACE("failing allocation " + std::to_string(failing));
        const auto before = heapUse().blocks;
        const auto met = round(failing);
        TraceRecorder::instance().clear();
        EXPECT_EQ(heapUse().blocks, before) << "blocks of the heap were lost or kept";
        if (!met.failed || testing::Test::HasFailure())
            return failing;
    }
}

class BudgetSweep : public testing::Test {
protected:
    BudgetSweep() {
        root.writeCatalogue(catalogue, "maxFilterLimit = 9\nglobalMemoryLimit = " +
                                           std::to_string(globalLimit) + "\n");
    }
    Qdx::Test::UnitRoot root;
};

std::string nameOf(const Shortage& shortage) {
    return std::string(shortage.memory == Memory::Budget ? "BudgetRefuses" : "HeapRefuses") +
           (shortage.outage == Outage::Once ? "Once" : "FromThenOn");
}

const Shortage shortages[] = {{Memory::Budget, Outage::Once},
                              {Memory::Budget, Outage::Lasting},
                              {Memory::Heap, Outage::Once},
                              {Memory::Heap, Outage::Lasting}};

// --- Samples -----------------------------------------------------------------------------------

enum class Kind { Measurement, Counter, Record, All };

// A feed to a filter that has already taken some samples. Values tell the sample: none comes twice.
struct Feed {
    const char* name;
    Kind kind;
    std::vector<std::string> statements;
    std::int64_t fed;   // samples before, one a second from second 1 on
    std::int64_t next;  // second of the samples that are fed under shortage
    std::string itsContext = context;
};

void addSamples(Batch& batch, Kind kind, std::int64_t value, const std::string& itsContext) {
    if (kind == Kind::Measurement || kind == Kind::All)
        batch.measurement("unit:level", value, itsContext);
    if (kind == Kind::Counter || kind == Kind::All)
        batch.counter("unit:packets", value, itsContext);
    if (kind == Kind::Record || kind == Kind::All) {
        std::vector<unsigned char> bytes(static_cast<std::size_t>(20 + 7 * (value % 9)), 'x');
        bytes[0] = static_cast<unsigned char>(value);
        batch.record("unit:event", bytes, itsContext);
    }
    if (kind == Kind::All)
        batch.measurement("unit:unwanted", value, itsContext);
}

void feedSecond(World& world, const Feed& feed, std::int64_t second,
                const std::string& itsContext = context) {
    world.at(second);
    Batch batch;
    addSamples(batch, feed.kind, second, itsContext);
    world.feed(std::move(batch));
}

void prepare(World& world, const Feed& feed) {
    for (std::int64_t second = 1; second <= feed.fed; ++second)
        feedSecond(world, feed, second);
}

// After the shortage: enough samples for every history to forget it.
void feedOn(World& world, const Feed& feed) {
    for (std::int64_t second = feed.next + 1; second <= feed.next + 24; ++second) {
        feedSecond(world, feed, second);
        if (feed.itsContext != context)
            feedSecond(world, feed, second, feed.itsContext);
    }
}

// Whether part is a run of whole.
bool isRunOf(const Values& part, const Values& whole) {
    return std::search(whole.begin(), whole.end(), part.begin(), part.end()) != whole.end();
}

// Before, and what came in addition when nothing failed.
Values joined(Values before, const Values& after) {
    for (const auto& value : after) {
        if (std::find(before.begin(), before.end(), value) == before.end())
            before.push_back(value);
    }
    return before;
}

Values valuesOf(const Data& data, const std::string& series) {
    const auto entry = data.find(series);
    return entry == data.end() ? Values{} : entry->second;
}

constexpr std::int64_t bothFilters[] = {1, 2};

// What the filters keep when nothing fails, by their ids: before the feed, after it, and later.
struct Reference {
    explicit Reference(const Feed& feed) : world(feed.statements) {
        prepare(world, feed);
        take(before);
        world.at(feed.next);
        Batch batch;
        addSamples(batch, feed.kind, feed.next, feed.itsContext);
        world.feed(std::move(batch));
        take(after);
        feedOn(world, feed);
        take(later);
        world.remove(1);
        world.create(1);
        feedOn(world, feed);
        take(anew);
    }

    void take(std::map<std::int64_t, Data>& data) {
        for (const auto id : bothFilters)
            data[id] = world.data(id);
    }

    World world;
    std::map<std::int64_t, Data> before;
    std::map<std::int64_t, Data> after;
    std::map<std::int64_t, Data> later;
    std::map<std::int64_t, Data> anew;
};

std::map<std::string, std::size_t> aggregationsOfPairs(const Data& data) {
    std::map<std::string, std::size_t> counts;
    for (const auto& [series, values] : data)
        ++counts[series.substr(0, series.find(endOfPair))];
    return counts;
}

class FeedSweep : public BudgetSweep,
                  public testing::WithParamInterface<std::tuple<Feed, Shortage>> {
protected:
    Attempt round(std::size_t failing) {
        World world(feed.statements);
        prepare(world, feed);
        Batch batch;
        addSamples(batch, feed.kind, feed.next, feed.itsContext);
        const auto message = batch.message();
        for (const auto id : bothFilters)
            EXPECT_EQ(world.data(id), reference.before.at(id));
        world.at(feed.next);

        const auto met = attempt(world, shortage, failing, [&] { world.handle(*message); });
        EXPECT_TRUE(mayLeave() || !met.left) << "only a record that finds no room may tell of it";
        world.expectBalance();
        for (const auto id : bothFilters) {
            SCOPED_TRACE("filter " + std::to_string(id));
            const auto kept = world.data(id);
            expectNothingInvented(kept, reference.after.at(id), reference.before.at(id));
            expectPairsWhole(kept, reference.after.at(id));
            for (const auto& [series, after] : reference.after.at(id)) {
                SCOPED_TRACE(series);
                expectOldestFirstGone(valuesOf(kept, series),
                                      valuesOf(reference.before.at(id), series), after, met);
            }
        }
        expectToGoOn(world, met);
        return met;
    }

    bool isOfNumbers() const {
        return feed.kind == Kind::Measurement || feed.kind == Kind::Counter;
    }

    bool mayLeave() const { return shortage.memory == Memory::Heap || !isOfNumbers(); }

    static void expectNothingInvented(const Data& kept, const Data& after, const Data& before) {
        for (const auto& [series, values] : kept)
            EXPECT_TRUE(before.contains(series) || after.contains(series)) << series;
    }

    // What is kept is a run of what was there and what came. Numbers lose no more than a full
    // history would; a list of records that can't be restored keeps its first alone.
    void expectOldestFirstGone(const Values& kept, const Values& before, const Values& after,
                               const Attempt& met) const {
        const auto all = joined(before, after);
        EXPECT_TRUE(isRunOf(kept, all))
            << testing::PrintToString(kept) << " is no run of " << testing::PrintToString(all);
        EXPECT_TRUE(met.failed || kept == after);
        const auto staying = survivors(before, after);
        if (!isOfNumbers() || staying == 0)
            return;
        ASSERT_GE(kept.size(), staying);
        EXPECT_TRUE(met.left || kept.back() == after.back()) << "the newest was lost";
    }

    // How many of the values before a feed leaves there.
    static std::size_t survivors(const Values& before, const Values& after) {
        return static_cast<std::size_t>(
            std::count_if(before.begin(), before.end(), [&](const auto& value) {
                return std::find(after.begin(), after.end(), value) != after.end();
            }));
    }

    // A pair has all of its aggregators or none.
    static void expectPairsWhole(const Data& kept, const Data& after) {
        const auto whole = aggregationsOfPairs(after);
        for (const auto& [pair, count] : aggregationsOfPairs(kept)) {
            EXPECT_EQ(count, whole.at(pair)) << pair;
        }
    }

    // As a collector that never lacked memory; one that lost samples begins its windows elsewhere.
    void expectToGoOn(World& world, const Attempt& met) {
        feedOn(world, feed);
        for (const auto id : bothFilters) {
            EXPECT_TRUE(met.left || world.data(id) == reference.later.at(id)) << id;
        }
        world.remove(1);
        EXPECT_EQ(world.create(1), ErrorType::NoError);
        feedOn(world, feed);
        EXPECT_EQ(world.data(1), reference.anew.at(1));
        world.expectBalance();
    }

    const Feed& feed = std::get<0>(GetParam());
    const Shortage& shortage = std::get<1>(GetParam());
    Reference reference{feed};
};

TEST_P(FeedSweep, OldestGivesWayAndTheNextSampleFindsAllInOrder) {
    const auto failures = sweep([&](std::size_t failing) { return round(failing); });
    EXPECT_GT(failures, 0U) << "nothing was allocated: this feed proves nothing";
}

const Feed feeds[] = {
    {"MinByCountAsItsWindowCloses", Kind::Measurement, {"min count 2 6"}, 5, 6},
    {"MaxByCountAsItsWindowCloses", Kind::Measurement, {"max count 2 6"}, 5, 6},
    {"AverageByCountAsItsWindowCloses", Kind::Measurement, {"average count 2 6"}, 5, 6},
    {"SumByCountAsItsWindowCloses", Kind::Counter, {"sum count 2 6"}, 5, 6},
    {"MinByDurationAsItsWindowCloses", Kind::Measurement, {"min duration 2 8"}, 6, 7},
    {"MaxByDurationAsItsWindowCloses", Kind::Measurement, {"max duration 2 8"}, 6, 7},
    {"AverageByDurationAsItsWindowCloses", Kind::Measurement, {"average duration 2 8"}, 6, 7},
    {"SumByDurationAsItsWindowCloses", Kind::Counter, {"sum duration 2 8"}, 6, 7},
    {"MinByDurationAfterAGap", Kind::Measurement, {"min duration 2 20"}, 6, 14},
    {"MaxByDurationAfterAGap", Kind::Measurement, {"max duration 2 20"}, 6, 14},
    {"AverageByDurationAfterAGap", Kind::Measurement, {"average duration 2 20"}, 6, 14},
    {"ListOfMeasurementsByCountAsItGrows", Kind::Measurement, {"list count 5"}, 4, 5},
    {"ListOfCountersByCountAsItGrows", Kind::Counter, {"list count 5"}, 4, 5},
    {"ListOfRecordsByCountAsItGrows", Kind::Record, {"list count 5"}, 4, 5},
    {"ListOfRecordsByCountAtItsSize", Kind::Record, {"list count 3"}, 7, 8},
    {"ListOfMeasurementsByDurationAsItGrows", Kind::Measurement, {"list duration 20"}, 4, 5},
    {"ListOfCountersByDurationAsItGrows", Kind::Counter, {"list duration 20"}, 4, 5},
    {"ListOfRecordsByDurationAsItGrows", Kind::Record, {"list duration 20"}, 4, 5},
    {"ListOfMeasurementsByDurationAsTheOldestExpire", Kind::Measurement, {"list duration 3"}, 6, 8},
    {"ListOfRecordsByDurationAsTheOldestExpire", Kind::Record, {"list duration 3"}, 6, 8},
    {"ListByDurationAfterAllExpired", Kind::Measurement, {"list duration 3"}, 6, 20},
    {"BatchOfKnownKeys",
     Kind::All,
     {"tags A list count 5 list duration 20", "tags A max count 1 6 sum count 1 6"},
     4,
     5},
    {"BatchOfNewKeys",
     Kind::All,
     {"tags A list count 5 list duration 20", "tags A max count 1 6 sum count 1 6"},
     0,
     5},
    {"BatchOfKnownObjectsInANewContext",
     Kind::All,
     {"tags A list count 5 list duration 20", "tags A max count 1 6 sum count 1 6"},
     3,
     5,
     otherContext},
    {"RecordsOfANewKey", Kind::Record, {"list count 5 list duration 20"}, 0, 1},
};

void PrintTo(const Feed& feed, std::ostream* out) {
    *out << feed.name;
}
void PrintTo(const Shortage& shortage, std::ostream* out) {
    *out << nameOf(shortage);
}

INSTANTIATE_TEST_SUITE_P(, FeedSweep,
                         testing::Combine(testing::ValuesIn(feeds), testing::ValuesIn(shortages)),
                         [](const auto& test) {
                             return std::string(std::get<0>(test.param).name) +
                                    nameOf(std::get<1>(test.param));
                         });

// --- Everything but samples --------------------------------------------------------------------

// Two filters with data of all kinds.
class OperationSweep : public BudgetSweep, public testing::WithParamInterface<Shortage> {
protected:
    static constexpr std::int64_t lastSecond = 5;

    static const Feed& allKinds() {
        static const Feed all{"",
                              Kind::All,
                              {"tags A list count 4 list duration 20",
                               "tags A max count 1 6 sum count 1 6 min duration 2 8"},
                              lastSecond,
                              lastSecond + 1};
        return all;
    }

    struct FedWorld : World {
        FedWorld() : World(allKinds().statements) {
            prepare(*this, allKinds());
            fed = data(1);
            neighbour = data(2);
        }
        Data fed;
        Data neighbour;
    };

    // Makes the operation in a world of its own, has what is left looked at, and goes on with
    // samples to the end of the world.
    template <typename Operation, typename Check>
    std::size_t sweepOperation(Operation operation, Check check) {
        return sweep([&](std::size_t failing) {
            FedWorld world;
            const auto met = attempt(world, GetParam(), failing, [&] { operation(world); });
            world.expectBalance();
            check(world, met);
            EXPECT_EQ(world.data(2), world.neighbour);
            world.expectBalance();
            expectToServeAnew(world);
            return met;
        });
    }

    // A filter that is created now works as in a collector that never lacked memory.
    void expectToServeAnew(World& world) {
        world.collector.enableFilter(FilterId{1});
        EXPECT_EQ(world.create(1), ErrorType::NoError);
        feedOn(world, allKinds());
        EXPECT_EQ(world.data(1), servedAnew);
        world.expectBalance();
    }

    // Refusals of the budget are all dealt with inside.
    void expectToStayInside(const Attempt& met) const {
        EXPECT_TRUE(!met.left || (met.failed && GetParam().memory == Memory::Heap));
    }

    Data servedAnew = [] {
        FedWorld world;
        EXPECT_EQ(world.create(1), ErrorType::NoError);
        feedOn(world, allKinds());
        return world.data(1);
    }();
};

INSTANTIATE_TEST_SUITE_P(, OperationSweep, testing::ValuesIn(shortages),
                         [](const auto& test) { return nameOf(test.param); });

TEST_P(OperationSweep, NewFilterIsWholeOrAbsent) {
    ErrorType result{};
    const auto failures = sweepOperation(
        [&](World& world) { result = world.create(3); },
        [&](FedWorld& world, const Attempt& met) {
            EXPECT_FALSE(met.left);
            EXPECT_EQ(result, met.failed ? ErrorType::NotEnoughMemory : ErrorType::NoError);
            EXPECT_EQ(world.exists(3), !met.failed);
            EXPECT_EQ(world.collector.findFilter("3").has_value(), !met.failed);
            EXPECT_EQ(world.data(1), world.fed);
        });
    EXPECT_GT(failures, 2U);
}

TEST_P(OperationSweep, FilterThatIsReplacedIsTheNewOneOrAbsent) {
    ErrorType result{};
    const auto failures = sweepOperation(
        [&](World& world) { result = world.create(1); },
        [&](FedWorld& world, const Attempt& met) {
            EXPECT_FALSE(met.left);
            EXPECT_EQ(result, met.failed ? ErrorType::NotEnoughMemory : ErrorType::NoError);
            EXPECT_EQ(world.exists(1), !met.failed);
            EXPECT_EQ(world.data(1), Data{});
        });
    EXPECT_GT(failures, 2U);
}

TEST_P(OperationSweep, PullToKeepGivesAllOrNothingAndKeeps) {
    std::string output;
    sweepOperation(
        [&](World& world) {
            output = "before";
            world.collector.pullFilterData(FilterId{1}, Clear::No, output);
        },
        [&](FedWorld& world, const Attempt& met) {
            expectToStayInside(met);
            EXPECT_EQ(world.data(1), world.fed);
            if (met.left) {
                EXPECT_EQ(output, "before");
            } else {
                EXPECT_EQ(dataOf(output.substr(6)), world.fed);
            }
        });
}

TEST_P(OperationSweep, PullToClearGivesAllOrNothingAndClearsInOrder) {
    std::string output;
    sweepOperation(
        [&](World& world) {
            output = "before";
            world.collector.pullFilterData(FilterId{1}, Clear::Yes, output);
        },
        [&](FedWorld& world, const Attempt& met) {
            expectToStayInside(met);
            const auto left = world.data(1);
            if (!met.left) {
                EXPECT_EQ(dataOf(output.substr(6)), world.fed);
                EXPECT_EQ(left, Data{});
                return;
            }
            EXPECT_EQ(output, "before");
            bool cleared = true;
            std::string lastPair;
            for (const auto& [series, values] : world.fed) {
                const bool there = left.contains(series);
                EXPECT_TRUE(!there || left.at(series) == values) << series;
                const auto pair = series.substr(0, series.find(endOfPair));
                EXPECT_TRUE(there || cleared || pair == lastPair)
                    << series << " went before one in front of it";
                cleared = cleared && !there;
                lastPair = pair;
            }
        });
}

// Of samples without context: the message library converts a context to JSON, and ends the process
// when the heap fails it there.
TEST_P(OperationSweep, ReportIsPrintedWholeOrNotAtAll) {
    std::string whole;
    std::string output;
    const auto round = [&](std::size_t failing) {
        World world({"list count 4"});
        world.feed(Batch().measurement("unit:level", 1).measurement("unit:level", 2));
        const auto held = world.data(1);
        output = "before";
        const auto met = attempt(world, GetParam(), failing,
                                 [&] { world.collector.printFilterData(FilterId{1}, {}, output); });
        expectToStayInside(met);
        world.expectBalance();
        EXPECT_EQ(world.data(1), held);
        if (!met.failed && whole.empty())
            whole = output;
        EXPECT_EQ(output, met.left ? "before" : whole);
        output = {};
        return met;
    };
    sweep(round);
    EXPECT_NE(whole, "");
}

TEST_P(OperationSweep, FiltersAreListedAllOrNotAtAll) {
    std::optional<std::string> whole;
    {
        const FedWorld world;
        whole = world.collector.listFilters(Printable::Yes);
    }
    std::optional<std::string> listing;
    sweepOperation(
        [&](World& world) {
            listing = "before";
            listing = world.collector.listFilters(Printable::Yes);
        },
        [&](FedWorld& world, const Attempt& met) {
            expectToStayInside(met);
            EXPECT_EQ(listing, met.left ? "before" : whole);
            EXPECT_EQ(world.data(1), world.fed);
        });
}

TEST_P(OperationSweep, ClearingNeedsNoMemory) {
    sweep([&](std::size_t failing) {
        FedWorld world;
        std::ostringstream out;
        const auto met =
            attempt(world, GetParam(), failing, [&] { world.collector.clearAllFilters(out); });
        EXPECT_FALSE(met.left);
        world.expectBalance();
        for (const auto id : bothFilters) {
            EXPECT_EQ(world.data(id), Data{});
            EXPECT_EQ(world.collector.getFilterMemory(FilterId{id})
                          ->getContentResource()
                          ->getAllocatedSize(),
                      0U);
        }
        expectToServeAnew(world);
        return met;
    });
}

TEST_P(OperationSweep, DisablingNeedsNoMemory) {
    const auto failures =
        sweepOperation([](World& world) { world.collector.disableFilter(FilterId{1}); },
                       [](FedWorld& world, const Attempt& met) {
                           EXPECT_FALSE(met.left);
                           EXPECT_EQ(world.data(1), Data{});
                       });
    EXPECT_EQ(failures, 0U);
}

TEST_P(OperationSweep, DeletionNeedsNoMemory) {
    std::ostringstream out;
    sweepOperation([&](World& world) { world.collector.deleteFilter(FilterId{1}, out); },
                   [](FedWorld& world, const Attempt& met) {
                       EXPECT_FALSE(met.left);
                       EXPECT_FALSE(world.exists(1));
                       EXPECT_EQ(world.collector.findFilter("1"), std::nullopt);
                   });
}

TEST_P(OperationSweep, DeletionOfAllNeedsNoMemory) {
    sweep([&](std::size_t failing) {
        FedWorld world;
        std::ostringstream out;
        const auto met =
            attempt(world, GetParam(), failing, [&] { world.collector.deleteAllFilters(out); });
        EXPECT_FALSE(met.left);
        EXPECT_EQ(world.memory.held(), 0U);
        world.expectBalance();
        EXPECT_EQ(world.create(2), ErrorType::NoError);
        expectToServeAnew(world);
        return met;
    });
}

// --- The filters that the configuration prescribes ---------------------------------------------

class StaticLoadSweep : public BudgetSweep, public testing::WithParamInterface<Shortage> {
protected:
    StaticLoadSweep() {
        root.writeCatalogue(
            catalogue, "maxFilterLimit = 9\nglobalMemoryLimit = " + std::to_string(globalLimit) +
                           "\n[qdx.staticFilters]\nenabledByDefault = ['first', 'second']\n"
                           "printable = ['first', 'second']\n"
                           "first = ['dch', 'limit', '50000', 'dch', 'list', 'count', '4']\n"
                           "second = ['dch', 'limit', '50000', 'dch', 'list', 'count', '4']\n");
    }
};

INSTANTIATE_TEST_SUITE_P(, StaticLoadSweep, testing::ValuesIn(shortages),
                         [](const auto& test) { return nameOf(test.param); });

TEST_P(StaticLoadSweep, EachPrescribedFilterIsWholeOrAbsent) {
    // Parsing its statements takes a heap of thousands of blocks: not each is tried.
    const std::size_t stride = GetParam().memory == Memory::Heap ? 29 : 1;
    const auto failures = sweep(
        [&](std::size_t failing) {
            World world({"list count 4"});
            QuardexShellCommands commands(&world.collector);
            bool all = false;
            const auto met =
                attempt(world, GetParam(), failing, [&] { all = commands.createStaticFilters(); });
            EXPECT_TRUE(!met.left || GetParam().memory == Memory::Heap);
            world.expectBalance();
            const auto first = world.collector.findFilter("first");
            const auto second = world.collector.findFilter("second");
            EXPECT_EQ(all && !met.left, first.has_value() && second.has_value());
            for (const auto& id : {first, second}) {
                if (!id)
                    continue;
                const auto number = static_cast<std::int64_t>(*id);
                EXPECT_EQ(world.data(number), Data{});  // from here on it is used
                world.feed(Batch().measurement("unit:level", 5, context));
                EXPECT_EQ(world.data(number).size(), 1U);
            }
            world.expectBalance();
            return met;
        },
        stride);
    EXPECT_GT(failures, 2U);
}

}  // namespace
}  // namespace Qdx::Backend
