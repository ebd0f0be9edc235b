// Each way in which windows can be wrong is found, of every method.
#include <gmock/gmock.h>

#include "fakeCollector.hpp"

namespace {

using namespace QdxLedger;
using namespace QdxLedger::Test;
using testing::Contains;
using testing::IsEmpty;
using testing::StartsWith;

using Values = std::vector<std::int64_t>;

class WindowAuditTest : public testing::TestWithParam<std::tuple<Method, bool>> {
protected:
    WindowAuditTest() : run(std::get<1>(GetParam())) {
        run.create(1, everything(plenty)).send(5).pullClear(1).send(6).pull(1);
    }

    Series series() const { return std::get<0>(GetParam()) == Method::Sum ? counter : measurement; }
    Values& windows() { return run.collection(series(), std::get<0>(GetParam())).values; }

    FakeCollector run;
};

TEST_P(WindowAuditTest, AWrongOneIsFound) {
    for (std::size_t i = 0; i < 3; ++i) {
        ++windows()[i];
        EXPECT_THAT(violationsOf(run), Contains(StartsWith("window: no "))) << i;
        --windows()[i];
    }
}

TEST_P(WindowAuditTest, AMissingOneBetweenIsFound) {
    windows().erase(windows().begin() + 1);
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("window: no ")));
}

TEST_P(WindowAuditTest, AMissingNewestOneIsFound) {
    windows().pop_back();
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #2 ")));
}

TEST_P(WindowAuditTest, AMissingOldestOneIsFoundIfMemorySuffices) {
    windows().erase(windows().begin());
    EXPECT_THAT(violationsOf(run), Contains(StartsWith("order: at #1 ")));
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse), IsEmpty());
}

// All windows of the life begin one sample later than they should.
TEST_P(WindowAuditTest, ShiftedOnesAreFound) {
    const auto& deliveries = deliveriesOf(run.ledger(), series());
    Values all;
    for (const auto& delivery : deliveries) {
        all.push_back(delivery.value);
    }
    std::size_t first = 1;
    for (auto& operation : run.journal) {
        for (auto& each : operation.pulled) {
            if (each.series == series() && each.method == std::get<0>(GetParam())) {
                for (auto& value : each.values) {
                    ASSERT_LE(first + each.size, all.size());
                    value = resultOf(each.method, &all[first], each.size);
                    first += each.size;
                }
            }
        }
    }
    EXPECT_THAT(violationsOf(run), testing::Not(IsEmpty()));
    EXPECT_THAT(violationsOf(run, Memory::MayRefuse),
                Contains(testing::AnyOf(StartsWith("apart: "), StartsWith("order: "))));
}

INSTANTIATE_TEST_SUITE_P(Methods, WindowAuditTest,
                         testing::Combine(testing::Values(Method::Min, Method::Max, Method::Average,
                                                          Method::Sum),
                                          testing::Bool()));

}  // namespace
