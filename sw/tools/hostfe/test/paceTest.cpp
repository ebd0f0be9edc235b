#include "pace.hpp"

#include <gtest/gtest.h>

namespace HostFe {
namespace {

using std::chrono::milliseconds;

Pace::Clock::time_point at(int time) {
    return Pace::Clock::time_point(milliseconds(time));
}

class PaceTest : public ::testing::Test {
protected:
    Pace pace{milliseconds(1000)};
};

TEST_F(PaceTest, IsDueAtFirstThenOnceAPeriod) {
    EXPECT_TRUE(pace.isDue(at(0)));
    EXPECT_FALSE(pace.isDue(at(100)));
    EXPECT_FALSE(pace.isDue(at(900)));
    EXPECT_TRUE(pace.isDue(at(1000)));
    EXPECT_FALSE(pace.isDue(at(1900)));
    EXPECT_TRUE(pace.isDue(at(2000)));
}

TEST_F(PaceTest, WhoAsksOnceAPeriodMayBeALittleEarly) {
    EXPECT_TRUE(pace.isDue(at(10)));
    EXPECT_TRUE(pace.isDue(at(960)));
    EXPECT_FALSE(pace.isDue(at(1909)));
}

TEST_F(PaceTest, MakesUpForNothing) {
    EXPECT_TRUE(pace.isDue(at(0)));
    EXPECT_TRUE(pace.isDue(at(5500)));
    EXPECT_FALSE(pace.isDue(at(6000)));
}

}  // namespace
}  // namespace HostFe
