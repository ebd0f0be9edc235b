// Nothing that a filter collects lies outside the filter's resources. In this process the default
// resource refuses everything, from the start on.
#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "InfoObjectCollections.pb.h"
#include "batch.hpp"
#include "blockLedger.hpp"
#include "frontendMessages.hpp"
#include "heapFault.hpp"
#include "memoryFaults.hpp"
#include "parsedStatement.hpp"
#include "quardex.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"
#include "wholeMetaData.hpp"

namespace Qdx::Backend {
namespace {

// From 40 to 69 bytes, another each time.
std::size_t sizeOfRecord(unsigned id, time_point now) {
    return 40 + (id + 7 * static_cast<std::size_t>(now.time_since_epoch().count())) % 30;
}

using Qdx::Test::Batch;
using Qdx::Test::BlockLedger;
using Qdx::Test::DefaultResourceScope;
using Qdx::Test::heapUse;
using Qdx::Test::MallocAllocator;
using std::chrono::seconds;

const auto* const previousDefault =
    std::pmr::set_default_resource(std::pmr::null_memory_resource());

constexpr unsigned objectsOfAKind = 100;
constexpr unsigned long globalLimit = 8'000'000;
// The short way of samples, which is outside the budget, is held to a quarter of it.
constexpr long routesLimit = globalLimit / 4;

std::string catalogue() {
    const char* const types[] = {"meas", "counter", "record"};
    std::string xml = "<infoObjectList><objects>";
    for (unsigned id = 1; id <= 3 * objectsOfAKind; ++id) {
        const auto number = std::to_string(id);
        xml.append("<object id=\"").append(number).append("\" name=\"unit:object:").append(number);
        xml.append("\" type=\"").append(types[id % 3]).append("\"/>");
    }
    return xml + "</objects></infoObjectList>";
}

// The C heap: what is drawn from it doesn't count as taken from operator new.
class MallocResource : public std::pmr::memory_resource {
    void* do_allocate(std::size_t bytes, std::size_t /*alignment*/) override {
        return MallocAllocator<std::byte>().allocate(bytes);
    }
    void do_deallocate(void* block, std::size_t bytes, std::size_t /*alignment*/) override {
        MallocAllocator<std::byte>().deallocate(static_cast<std::byte*>(block), bytes);
    }
    bool do_is_equal(const memory_resource& other) const noexcept override {
        return this == &other;
    }
};

class NullDefaultResource : public testing::Test {
protected:
    NullDefaultResource() {
        root.writeCatalogue(catalogue(),
                            "globalMemoryLimit = " + std::to_string(globalLimit) + "\n");
        {
            const DefaultResourceScope scope(&budget);
            collector.allocateGlobalMemory();
        }
        collector.determineMaxNumberOfFilters();
        Qdx::Test::sendWholeMetaData(collector);
        Qdx::Test::TraceRecorder::instance().clear();
    }

    // What a filter's copies of its statements hold stands on the default resource, as told; here
    // on one of its own.
    ErrorType create(std::int64_t id, const std::vector<std::string>& texts) {
        const DefaultResourceScope scope(&statements);
        return collector.createFilter(FilterId{id}, "a filter with a long name",
                                      Qdx::Test::parsedAll(texts), 0, Enabled::Yes, Static::No,
                                      Printable::Yes);
    }

    void createAllKinds() {
        ASSERT_EQ(create(1, {"min count 1 5 25", "max count 2 10", "average count 2 10",
                             "sum count 1 5", "list count 10"}),
                  ErrorType::NoError);
        ASSERT_EQ(create(2, {"min duration 1 10", "max duration 1 10", "average duration 1 10",
                             "sum duration 1 10", "list duration 10"}),
                  ErrorType::NoError);
        ASSERT_EQ(create(3, {"context rfBranch 1 list count 3"}), ErrorType::NoError);
    }

    // A sample of each of the first objects of every kind, for each second.
    void feed(unsigned objects, int samples) {
        for (; samples > 0; --samples) {
            now += seconds(1);
            collector.setCurrTime(now);
            Batch batch;
            for (unsigned id = 1; id <= 3 * objects; ++id) {
                const auto name = "unit:object:" + std::to_string(id);
                if (id % 3 == 0)
                    batch.measurement(name, samples, context);
                else if (id % 3 == 1)
                    batch.counter(name, samples, context);
                else
                    batch.record(name, std::vector<unsigned char>(sizeOfRecord(id, now)), context);
            }
            collector.handleBeProcessBatchesUreq(batch.message().get());
        }
    }

    int collectionsOf(std::int64_t id, Clear clear) {
        std::string output;
        if (collector.pullFilterData(FilterId{id}, clear, output) != ErrorType::NoError)
            return 0;
        InfoObjectCollections all;
        EXPECT_TRUE(all.ParseFromString(output));
        return all.measurementcollections_size() + all.countercollections_size() +
               all.recordcollections_size();
    }

    const std::string context = "rfBranch=1,carrierId=12345";
    Qdx::Test::UnitRoot root;
    MallocResource cHeap;
    BlockLedger budget{&cHeap};
    BlockLedger statements;
    Quardex collector;
    time_point now{};
    std::ostringstream out;
};

TEST_F(NullDefaultResource, IsInPlace) {
    EXPECT_THROW(std::pmr::vector<int>(1), std::bad_alloc);
    EXPECT_EQ(previousDefault, std::pmr::new_delete_resource());
}

TEST_F(NullDefaultResource, FilterOfEveryKindLivesWithoutIt) {
    createAllKinds();
    feed(3, 20);
    EXPECT_EQ(collectionsOf(1, Clear::No), 3 * (5 + 2 + 1));
    EXPECT_EQ(collectionsOf(2, Clear::Yes), 3 * (4 + 2 + 1));
    std::string report;
    EXPECT_EQ(collector.printFilterData(FilterId{1}, {}, report), ErrorType::NoError);
    EXPECT_NE(report, "");
    EXPECT_NE(collector.listFilters(Printable::Yes), std::nullopt);
    collector.clearAllFilters(out);
    EXPECT_EQ(collectionsOf(1, Clear::No), 0);
    feed(4, 20);
    collector.disableFilter(FilterId{2});
    collector.enableFilter(FilterId{2});
    feed(3, 3);
    EXPECT_GT(collectionsOf(2, Clear::No), 0);
    collector.deleteFilter(FilterId{3}, out);
    collector.deleteAllFilters(out);
    EXPECT_EQ(budget.held(), 0U);
    EXPECT_EQ(statements.held(), 0U);
}

TEST_F(NullDefaultResource, WithoutItNoFilterCopiesItsStatements) {
    const auto statement = Qdx::Test::parsedAll({"list count 10"});
    EXPECT_EQ(collector.createFilter(FilterId{1}, "f", statement, 0, Enabled::Yes, Static::No,
                                     Printable::No),
              ErrorType::NotEnoughMemory);
    EXPECT_EQ(budget.held(), 0U);
}

TEST_F(NullDefaultResource, StatementsOfAFilterDontGrowWithItsData) {
    createAllKinds();
    const auto held = statements.held();
    const auto allocations = statements.allocations();
    feed(5, 30);
    EXPECT_EQ(statements.held(), held);
    EXPECT_EQ(statements.allocations(), allocations);
}

TEST_F(NullDefaultResource, SamplesOfKnownPairsTakeNothingFromTheHeap) {
    createAllKinds();
    feed(5, 2);
    const auto before = heapUse();
    const auto held = budget.held();
    feed(5, 200);
    EXPECT_GT(budget.held(), held);
    EXPECT_EQ(heapUse().blocks, before.blocks);
    EXPECT_EQ(heapUse().bytes, before.bytes);
}

TEST_F(NullDefaultResource, NewPairsTakeNothingFromTheHeapButTheirBoundedRoutes) {
    createAllKinds();
    feed(1, 2);
    const auto before = heapUse();
    const auto held = budget.held();
    feed(objectsOfAKind, 2);
    EXPECT_GT(budget.held(), held + 100'000);
    EXPECT_LT(heapUse().bytes - before.bytes, routesLimit);

    // Without routes, nothing at all is left.
    collector.deleteAllFilters(out);
    collector.deleteAllFilters(out);
    const auto routesKept = heapUse();
    createAllKinds();
    feed(objectsOfAKind, 2);
    collector.deleteAllFilters(out);
    EXPECT_EQ(heapUse().bytes, routesKept.bytes);
}

TEST_F(NullDefaultResource, PullsAndReportsGiveBackAllThatTheyTake) {
    createAllKinds();
    feed(5, 20);
    const auto lookAtAll = [&] {
        for (const std::int64_t id : {1, 2, 3}) {
            collectionsOf(id, Clear::No);
            std::string report;
            collector.printFilterData(FilterId{id}, {}, report);
        }
    };
    lookAtAll();  // the process decodes each context once
    const auto before = heapUse();
    lookAtAll();
    EXPECT_EQ(heapUse().blocks, before.blocks);
    EXPECT_EQ(heapUse().bytes, before.bytes);
}

}  // namespace
}  // namespace Qdx::Backend
