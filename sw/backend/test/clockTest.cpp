// What is written out when clocks step, stand or run far: the collector reads both clocks once, at
// the first pull or report, and counts from there in steady time.
#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "InfoObjectCollections.pb.h"
#include "batch.hpp"
#include "frontendMessages.hpp"
#include "parsedStatement.hpp"
#include "quardex.hpp"
#include "unitRoot.hpp"
#include "wholeMetaData.hpp"

namespace {

std::chrono::system_clock::time_point wallNow;
std::chrono::steady_clock::time_point steadyNow;
// The clocks that were read, a letter each: w or s.
std::string readings;

}  // namespace

// The clocks of this program; the linker puts them in place of the library's, whose points in time
// are returned as their numbers are.
extern "C" {
std::int64_t
__wrap__ZNSt6chrono3_V212system_clock3nowEv() {  // NOLINT(bugprone-reserved-identifier)
    readings += 'w';
    return wallNow.time_since_epoch().count();
}
std::int64_t
__wrap__ZNSt6chrono3_V212steady_clock3nowEv() {  // NOLINT(bugprone-reserved-identifier)
    readings += 's';
    return steadyNow.time_since_epoch().count();
}
}

namespace Qdx::Backend {
namespace {

using Qdx::Test::Batch;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Times = std::vector<std::int64_t>;
using WallClock = std::chrono::system_clock::time_point;

// 2024-01-01 00:00:00
constexpr seconds today{1'704'067'200};
constexpr hours day{24};

class ClockTest : public testing::Test {
protected:
    ClockTest() {
        root.writeCatalogue(R"(<infoObjectList><objects><object id="1" name="m" type="meas"/>
            <object id="2" name="c" type="counter"/></objects></infoObjectList>)");
        collector.allocateGlobalMemory();
        collector.determineMaxNumberOfFilters();
        Qdx::Test::sendWholeMetaData(collector);
        setWall(today);
        steadyNow = time_point(seconds(1000));
        capture("list count 10");
    }

    void capture(const std::string& statement) {
        collector.createFilter(FilterId{1}, "f", Qdx::Test::parsedAll({statement}), 0, Enabled::Yes,
                               Static::No, Printable::Yes);
    }

    static void setWall(nanoseconds sinceEpoch) {
        wallNow = WallClock(std::chrono::duration_cast<WallClock::duration>(sinceEpoch));
    }

    // Time passes on both clocks.
    static void pass(nanoseconds time) {
        wallNow += std::chrono::duration_cast<WallClock::duration>(time);
        steadyNow += time;
    }

    void feed(std::int64_t value) {
        collector.setCurrTime(std::nullopt);
        collector.handleBeProcessBatchesUreq(
            Batch().measurement("m", value).counter("c", value).message().get());
    }

    InfoObjectCollections pulled() {
        std::string output;
        InfoObjectCollections all;
        if (collector.pullFilterData(FilterId{1}, Clear::No, output) != ErrorType::NoError)
            return all;
        EXPECT_TRUE(all.ParseFromString(output));
        return all;
    }

    // The timestamps of the measurement that a pull gives, as the signed numbers that they are.
    Times times() {
        const auto all = pulled();
        if (all.measurementcollections().empty())
            return {};
        const auto& stamps = all.measurementcollections(0).timestamps();
        return {stamps.begin(), stamps.end()};
    }

    // The first column of the rows of the measurement in the report.
    std::vector<std::string> printed() {
        std::string report;
        collector.printFilterData(FilterId{1}, {}, report);
        std::istringstream lines(report);
        std::vector<std::string> columns;
        for (std::string line; std::getline(lines, line);) {
            if (const auto end = line.find(", 'm'"); end != std::string::npos)
                columns.push_back(line.substr(0, end));
        }
        return columns;
    }

    // The clocks that a call reads, in order.
    template <typename Call>
    static std::string readingsOf(Call call) {
        readings.clear();
        call();
        return std::exchange(readings, {});
    }

    Qdx::Test::UnitRoot root;
    Quardex collector;
};

TEST_F(ClockTest, WallClockSteppedForwardBeforeTheFirstPullShiftsAllSamplesWithIt) {
    feed(1);
    pass(seconds(5));
    setWall(today + hours(1));
    EXPECT_THAT(times(), ElementsAre((today + hours(1) - seconds(5)).count()));
    EXPECT_THAT(printed(), ElementsAre("'2024-01-01 00:59:55'"));
}

TEST_F(ClockTest, WallClockSteppedBackBeforeTheFirstPullShiftsAllSamplesWithIt) {
    feed(1);
    pass(seconds(5));
    setWall(today - hours(1));
    EXPECT_THAT(times(), ElementsAre((today - hours(1) - seconds(5)).count()));
    EXPECT_THAT(printed(), ElementsAre("'2023-12-31 22:59:55'"));
}

TEST_F(ClockTest, WallClockSteppedAfterTheFirstPullChangesNothing) {
    feed(1);
    const auto first = times();
    pass(seconds(1));
    setWall(today + 400 * day);
    feed(2);
    EXPECT_THAT(times(), ElementsAre(first[0], first[0] + 1));
    pass(seconds(1));
    setWall(seconds(0));
    feed(3);
    EXPECT_THAT(times(), ElementsAre(first[0], first[0] + 1, first[0] + 2));
    EXPECT_THAT(printed(), ElementsAre("'2024-01-01 00:00:00'", "'2024-01-01 00:00:01'",
                                       "'2024-01-01 00:00:02'"));
}

TEST_F(ClockTest, ReportTakesTheAnchorAsAPullDoes) {
    feed(1);
    EXPECT_THAT(printed(), ElementsAre("'2024-01-01 00:00:00'"));
    setWall(today + day);
    EXPECT_THAT(times(), ElementsAre(today.count()));
}

TEST_F(ClockTest, ReportOfNoFilterTakesTheAnchorToo) {
    const ClockAnchor now{steadyNow, wallNow};
    std::string report;
    EXPECT_EQ(collector.printFilterData(FilterId{2}, {}, report), ErrorType::NoSuchFilter);
    pass(seconds(5));
    EXPECT_EQ(collector.getClockAnchor(), now);
}

TEST_F(ClockTest, AnchorReadsTheSteadyClockBeforeTheWallClockAndEachOnce) {
    EXPECT_EQ(readingsOf([&] { collector.getClockAnchor(); }), "sw");
    EXPECT_EQ(readingsOf([&] { collector.getClockAnchor(); }), "");
}

TEST_F(ClockTest, SettingTheTimeReadsTheSteadyClockWhetherItIsNeededOrNot) {
    EXPECT_EQ(readingsOf([&] { collector.setCurrTime(std::nullopt); }), "s");
    EXPECT_EQ(readingsOf([&] { collector.setCurrTime(time_point(seconds(1))); }), "s");
}

TEST_F(ClockTest, UnitWithoutATimeCountsFrom1970AndKeepsToIt) {
    setWall(seconds(0));
    feed(1);
    EXPECT_THAT(times(), ElementsAre(0));
    pass(seconds(60));
    setWall(today);
    feed(2);
    EXPECT_THAT(times(), ElementsAre(0, 60));
    EXPECT_THAT(printed(), ElementsAre("'1970-01-01 00:00:00'", "'1970-01-01 00:01:00'"));
}

TEST_F(ClockTest, SampleOlderThan1970IsNegativeAndCutTowardZero) {
    setWall(seconds(0));
    feed(1);
    pass(milliseconds(1500));
    feed(2);
    pass(milliseconds(500));
    setWall(seconds(0));
    EXPECT_THAT(times(), ElementsAre(-2, 0));
    EXPECT_EQ(pulled().measurementcollections(0).timestamps(0),
              std::numeric_limits<std::uint64_t>::max() - 1);
    EXPECT_THAT(printed(), ElementsAre("'1969-12-31 23:59:58'", "'1970-01-01 00:00:00'"));
}

TEST_F(ClockTest, SecondsPass32Bits) {
    setWall(seconds(2'147'483'647));
    feed(1);
    EXPECT_THAT(times(), ElementsAre(2'147'483'647));
    pass(seconds(1));
    feed(2);
    EXPECT_THAT(times(), ElementsAre(2'147'483'647, 2'147'483'648));
    EXPECT_THAT(printed(), ElementsAre("'2038-01-19 03:14:07'", "'2038-01-19 03:14:08'"));
}

TEST_F(ClockTest, FarFutureIsRightUntilNanosecondsPass64Bits) {
    setWall(seconds(9'223'372'035));
    feed(1);
    EXPECT_THAT(times(), ElementsAre(9'223'372'035));
    pass(seconds(1));
    feed(2);
    EXPECT_THAT(printed(), ElementsAre("'2262-04-11 23:47:15'", "'2262-04-11 23:47:16'"));
    steadyNow += seconds(1);
    feed(3);
    EXPECT_THAT(times(), ElementsAre(9'223'372'035, 9'223'372'036, -9'223'372'036))
        << "from 2262-04-11 23:47:16.854775808 on times wrap";
}

TEST_F(ClockTest, LargeSteadyTimesAreNoMatter) {
    steadyNow = time_point(nanoseconds(std::numeric_limits<std::int64_t>::max()) - seconds(10));
    feed(1);
    EXPECT_THAT(times(), ElementsAre(today.count()));
    pass(seconds(5));
    feed(2);
    EXPECT_THAT(times(), ElementsAre(today.count(), today.count() + 5));
}

TEST_F(ClockTest, SleepThatTheSteadyClockMissesPutsLaterSamplesTooEarly) {
    feed(1);
    EXPECT_THAT(times(), ElementsAre(today.count()));
    setWall(today + 3 * day);  // asleep: only the wall clock went on
    steadyNow += seconds(1);
    feed(2);
    EXPECT_THAT(times(), ElementsAre(today.count(), today.count() + 1));
}

TEST_F(ClockTest, GapOfDaysClosesAWindowOfALevelForEachPeriodInIt) {
    capture("max duration 86400 864000");
    feed(7);
    EXPECT_THAT(times(), IsEmpty());
    pass(3 * day + seconds(1));
    feed(9);
    const auto all = pulled();
    ASSERT_EQ(all.measurementcollections_size(), 1);
    EXPECT_THAT(all.measurementcollections(0).values(), ElementsAre(7, 7, 7));
    EXPECT_THAT(times(), ElementsAre((today + day).count(), (today + 2 * day).count(),
                                     (today + 3 * day).count()));
}

TEST_F(ClockTest, GapOfDaysClosesOneWindowOfASum) {
    capture("sum duration 86400 864000");
    feed(7);
    EXPECT_EQ(pulled().countercollections_size(), 0);
    pass(3 * day + seconds(1));
    feed(9);
    auto all = pulled();
    ASSERT_EQ(all.countercollections_size(), 1);
    EXPECT_THAT(all.countercollections(0).values(), ElementsAre(7));
    EXPECT_THAT(all.countercollections(0).timestamps(), ElementsAre((today + day).count()));
    pass(day);
    feed(1);
    all = pulled();
    EXPECT_THAT(all.countercollections(0).values(), ElementsAre(7, 9));
    EXPECT_THAT(all.countercollections(0).timestamps(),
                ElementsAre((today + day).count(), (today + 4 * day).count()));
}

TEST_F(ClockTest, GapOfDaysEmptiesAListByDurationAtTheNextBatchAndAListByCountNever) {
    capture("list duration 60");
    feed(1);
    pass(seconds(60));
    feed(2);
    EXPECT_EQ(times().size(), 2U);
    pass(3 * day);
    EXPECT_EQ(times().size(), 2U) << "a pull is at the time of the last batch";
    feed(3);
    EXPECT_EQ(times().size(), 1U);
}

}  // namespace
}  // namespace Qdx::Backend
