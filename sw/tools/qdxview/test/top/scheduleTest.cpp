#include "schedule.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <string>

namespace Qdxview {
namespace {

using namespace std::chrono_literals;

class ScheduleTest : public testing::Test {
protected:
    // What is asked at this moment, each question answered at once: "L" for the list.
    std::string asked() {
        std::string questions;
        for (auto step = schedule.next(now, filters, selected); step.ask != Schedule::Ask::Nothing;
             step = schedule.next(now, filters, selected)) {
            questions += step.ask == Schedule::Ask::List ? "L" : std::to_string(step.filter);
            schedule.answered(step, now);
        }
        return questions;
    }

    Schedule::Time now{1h};
    Schedule schedule{2s};
    std::vector<std::int64_t> filters{1, 2, 3, 4};
    std::optional<std::int64_t> selected = 3;
};

TEST_F(ScheduleTest, SelectedFilterComesEachPeriodAndOneOfTheOthersByTurns) {
    EXPECT_EQ(asked(), "L31");
    now += 2s;
    EXPECT_EQ(asked(), "L32");
    now += 2s;
    EXPECT_EQ(asked(), "L34");
    now += 2s;
    EXPECT_EQ(asked(), "L31");
}

TEST_F(ScheduleTest, NothingIsAskedBeforeThePeriodIsOver) {
    asked();
    now += 1999ms;
    EXPECT_EQ(asked(), "");
    EXPECT_EQ(schedule.next(now, filters, selected).at, now + 1ms);
    now += 1ms;
    EXPECT_EQ(asked(), "L32");
}

TEST_F(ScheduleTest, AFilterThatIsSelectedComesAtOnceIfItHasRested) {
    asked();
    now += 100ms;
    selected = 4;
    EXPECT_EQ(asked(), "4");
    selected = 1;
    EXPECT_EQ(asked(), "") << "it was pulled as one of the others";
}

TEST_F(ScheduleTest, ThePeriodBeginsWithTheAnswer) {
    filters = {3};
    const auto list = schedule.next(now, filters, selected);
    schedule.answered(list, now + 10s);
    const auto pull = schedule.next(now + 10s, filters, selected);
    schedule.answered(pull, now + 30s);
    now += 31s;
    EXPECT_EQ(asked(), "L");
    now += 1s;
    EXPECT_EQ(asked(), "3");
}

TEST_F(ScheduleTest, WithoutFiltersOnlyTheListIsAskedFor) {
    filters.clear();
    EXPECT_EQ(asked(), "L");
    EXPECT_EQ(schedule.next(now, filters, selected).at, now + 2s);
}

TEST_F(ScheduleTest, ALongerPeriodCountsAtOnce) {
    asked();
    schedule.setPeriod(10s);
    now += 9s;
    EXPECT_EQ(asked(), "");
    now += 1s;
    EXPECT_EQ(asked(), "L32");
}

TEST_F(ScheduleTest, NoFilterIsPulledTwiceInAPeriodWhateverIsSelected) {
    std::mt19937 random(1);
    std::map<std::int64_t, Schedule::Time> pulls;
    for (int i = 0; i < 10'000; ++i) {
        now += std::chrono::milliseconds(random() % 300);
        selected = static_cast<std::int64_t>(random() % 5);
        const auto step = schedule.next(now, filters, selected);
        if (step.ask == Schedule::Ask::Pull) {
            ASSERT_TRUE(!pulls.contains(step.filter) || now - pulls[step.filter] >= 2s);
            pulls[step.filter] = now;
        }
        schedule.answered(step, now);
    }
    EXPECT_EQ(pulls.size(), 4U);
}

}  // namespace
}  // namespace Qdxview
