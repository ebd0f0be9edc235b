// What a run sends is fixed by its plan.
#include "plan.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <sstream>

namespace {

using namespace QdxLoad;
using testing::HasSubstr;
using testing::StartsWith;

Plan small() {
    return {.frontends = 2, .objects = 4, .contexts = 3};
}

TEST(PlanTest, SeriesAreNumberedAndFoundByTheirNumbers) {
    const auto plan = small();
    for (std::uint64_t number = 0; number < plan.seriesCount(); ++number) {
        EXPECT_EQ(plan.numberOf(plan.seriesAt(number)), number);
    }
    EXPECT_EQ(plan.seriesAt(12 + 3 + 2), (Series{.frontend = 1, .object = 1, .context = 2}));
}

TEST(PlanTest, ObjectsTakeTheKindsInTurn) {
    const auto plan = small();
    EXPECT_EQ(objectName(plan, 0), "load:measurement:0");
    EXPECT_EQ(objectName(plan, 1), "load:counter:1");
    EXPECT_EQ(objectName(plan, 2), "load:record:2");
    EXPECT_EQ(objectName(plan, 3), "load:measurement:3");
}

TEST(PlanTest, ContextsTellFrontendsApart) {
    EXPECT_EQ(contextOf({.frontend = 1, .object = 0, .context = 2}), "clientId=1,deviceId=2");
}

TEST(PlanTest, ARoundHoldsEachSeriesOfTheFrontendOnce) {
    auto order = small().order(1);
    std::sort(order.begin(), order.end());
    EXPECT_THAT(order, testing::ElementsAre(12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23));
}

TEST(PlanTest, TheSeedAndNothingElseShuffles) {
    auto plan = small();
    const auto order = plan.order(0);
    EXPECT_EQ(plan.order(0), order);
    plan.seed = 2;
    EXPECT_NE(plan.order(0), order);
}

TEST(PlanTest, ListHasEachObjectWithItsKindAndTags) {
    std::ostringstream out;
    writeObjectList(out, small());
    EXPECT_THAT(out.str(), HasSubstr(R"(<object id="1" name="load:measurement:0" type="meas">)"
                                     R"(<tags>LOAD MEASUREMENT</tags><unit)"));
    EXPECT_THAT(out.str(), HasSubstr(R"(<object id="2" name="load:counter:1" type="counter">)"
                                     R"(<tags>LOAD COUNTER</tags><unit)"));
    EXPECT_THAT(out.str(), HasSubstr(R"(<object id="3" name="load:record:2" type="record">)"
                                     R"(<tags>LOAD RECORD</tags><type message="Load"/>)"));
    EXPECT_THAT(out.str(), HasSubstr(R"(<tag name="RECORD"/>)"));
}

TEST(PlanTest, RecordsAreOfAllSizesOfTheSpread) {
    auto plan = small();
    plan.recordSize = 20;
    plan.recordSpread = 3;
    std::set<std::size_t> sizes;
    for (std::int64_t code = 0; code < 100; ++code) {
        sizes.insert(plan.sizeOfRecord(code));
    }
    EXPECT_THAT(sizes, testing::ElementsAre(20, 21, 22, 23));
    plan.recordSpread = 0;
    EXPECT_EQ(plan.sizeOfRecord(5), 20U);
}

struct BadPlan {
    void (*spoil)(Plan&);
    const char* fault;
};

class BadPlanTest : public testing::TestWithParam<BadPlan> {};

TEST_P(BadPlanTest, IsToldInOneLine) {
    auto plan = small();
    EXPECT_EQ(plan.fault(), "");
    GetParam().spoil(plan);
    EXPECT_THAT(plan.fault(), StartsWith(GetParam().fault));
}

INSTANTIATE_TEST_SUITE_P(
    Bounds, BadPlanTest,
    testing::Values(
        BadPlan{[](Plan& plan) { plan.frontends = 0; }, "0 frontends; from 1 to 64"},
        BadPlan{[](Plan& plan) { plan.frontends = 65; }, "65 frontends; from 1 to 64"},
        BadPlan{[](Plan& plan) { plan.objects = 4097; }, "4097 objects; from 1 to 4096"},
        BadPlan{[](Plan& plan) { plan.contexts = 65'537; }, "65537 contexts; from 1 to 65536"},
        BadPlan{[](Plan& plan) { plan.contexts = 0; }, "0 contexts; from 1 to 65536"},
        BadPlan{[](Plan& plan) { plan.kinds = {}; }, "0 kinds; from 1 to 3"},
        BadPlan{[](Plan& plan) { plan.recordSize = 15; }, "15 bytes in a record; from 16 to 60000"},
        BadPlan{[](Plan& plan) { plan.recordSize = 60'001; }, "60001 bytes in a record"},
        BadPlan{[](Plan& plan) { plan.recordSpread = 60'000; },
                "60000 bytes of difference between records; from 0 to 59"},
        BadPlan{[](Plan& plan) { plan.objects = plan.contexts = 4096; },
                "33554432 series (frontends x objects x contexts); from 1 to 1000000"},
        BadPlan{[](Plan& plan) { plan.objects = 2; }, "more kinds than objects"}));

}  // namespace
