// Each way in which a list can be wrong is found, of every kind of sample.
#include <gmock/gmock.h>

#include "fakeCollector.hpp"
#include "sampleCode.hpp"

namespace {

using namespace QdxLedger;
using namespace QdxLedger::Test;
using testing::Contains;
using testing::IsEmpty;
using testing::StartsWith;

using Values = std::vector<std::int64_t>;

class ListAuditTest : public testing::TestWithParam<std::tuple<Series, bool>> {
protected:
    ListAuditTest() : run(std::get<1>(GetParam())) {
        run.create(1, everything(plenty)).send(5).pullClear(1).send(4).drop().send(2).pull(1);
        run.send(3).pull(1);
    }

    Series series() const { return std::get<0>(GetParam()); }
    Values& list() { return run.collection(series(), Method::List).values; }
    Values& earlierList() {
        return run.collection(run.journal.size() - 2, series(), Method::List).values;
    }
    std::int64_t code(std::uint64_t sequence) const {
        return QdxLoad::encode({run.ledger().plan.numberOf(series()), sequence});
    }

    FakeCollector run;
};

TEST_P(ListAuditTest, AGoodOneIsGood) {
    EXPECT_THAT(violationsOf(run), IsEmpty());
}

TEST_P(ListAuditTest, ALossBetweenIsFound) {
    list().erase(list().begin() + 4, list().begin() + 6);
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("lost: 2 values in front of ")));
}

TEST_P(ListAuditTest, ALossAtTheEndIsFound) {
    list().pop_back();
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #3 ")));
}

TEST_P(ListAuditTest, ALossInFrontIsFound) {
    list().erase(list().begin());
    earlierList().erase(earlierList().begin());
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #1 ")));
}

TEST_P(ListAuditTest, ADuplicateIsFound) {
    list().insert(list().begin() + 3, list()[2]);
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("duplicate: ")));
}

TEST_P(ListAuditTest, ReorderingIsFound) {
    std::swap(list()[3], list()[5]);
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse),
                Contains(testing::AnyOf(StartsWith("reordered: "), StartsWith("lost: "))));
}

TEST_P(ListAuditTest, AnInventedValueIsFound) {
    list().push_back(code(1000));
    EXPECT_THAT(violationsOf(run),
                Contains(StartsWith("invented: " + std::to_string(code(1000)) + " (sequence ")));
}

TEST_P(ListAuditTest, AForeignValueIsFound) {
    list()[2] = QdxLoad::encode({0, 2});
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("foreign: ")));
}

TEST_P(ListAuditTest, ADroppedValueIsFound) {
    list()[16] = code(36);
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("undelivered: ")));
}

TEST_P(ListAuditTest, AValueThatWasTakenBeforeIsFound) {
    list().insert(list().begin(), run.collection(1, series(), Method::List).values.back());
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse), Contains(StartsWith("reappeared: ")));
}

TEST_P(ListAuditTest, AHistoryThatVanishedIsFound) {
    auto& pulled = run.journal.back().pulled;
    std::erase_if(pulled, [&](const auto& each) {
        return each.series == series() && each.method == Method::List;
    });
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse), Contains(StartsWith("vanished: ")));
}

TEST_P(ListAuditTest, AnEmptyListIsFoundIfMemorySuffices) {
    for (auto& operation : run.journal) {
        std::erase_if(operation.pulled, [&](const auto& each) { return each.series == series(); });
    }
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #")));
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, ListAuditTest,
                         testing::Combine(testing::Values(measurement, counter, record),
                                          testing::Bool()));

}  // namespace
