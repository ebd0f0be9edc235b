// The line that tells how far a long pull is.
#include "progress.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace Qfci;
using namespace std::chrono_literals;

constexpr Progress::Time begin(1h);

TEST(Progress, ShortPullShowsNothing) {
    std::ostringstream terminal;
    {
        Progress progress(&terminal, begin);
        progress.add(50'000'000, begin + 499ms);
    }
    EXPECT_EQ(terminal.str(), "");
}

TEST(Progress, LongPullShowsSizeAndRateAndErasesThem) {
    std::ostringstream terminal;
    {
        Progress progress(&terminal, begin);
        progress.add(1'000'000, begin + 1ms);
        progress.add(11'000'000, begin + 2s);
    }
    EXPECT_EQ(terminal.str(), "\r\x1b[K  12.0 MB, 6.0 MB/s\r\x1b[K");
}

TEST(Progress, LineIsRenewedNowAndThenAndNotForEachChunk) {
    std::ostringstream terminal;
    Progress progress(&terminal, begin);
    progress.add(1, begin + 600ms);
    const auto shown = terminal.str();
    progress.add(1, begin + 699ms);
    EXPECT_EQ(terminal.str(), shown);
    progress.add(1, begin + 700ms);
    EXPECT_NE(terminal.str(), shown);
}

TEST(Progress, WithoutATerminalThereIsNone) {
    Progress progress(nullptr, begin);
    progress.add(1, begin + 1h);
}

}  // namespace
