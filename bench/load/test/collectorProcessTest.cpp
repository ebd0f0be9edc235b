// CPU time and memory are read as the kernel writes them.
#include "collectorProcess.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace QdxLoad;

const char* const stat =
    "4711 (qd) (xd) S 1 4711 4711 0 -1 4194560 100 0 0 0 150 25 0 0 20 0 5 0 1000 100000 200\n";
const char* const status =
    "Name:\tqdxd\nVmPeak:\t  999999 kB\nVmHWM:\t   12345 kB\nVmRSS:\t 1 kB\n";

TEST(CollectorProcessTest, CpuTimeIsOfUserAndKernelMode) {
    const auto use = parseUse(stat, status, 100);
    ASSERT_TRUE(use);
    EXPECT_DOUBLE_EQ(use->cpuSeconds, 1.75);
}

TEST(CollectorProcessTest, MemoryIsTheResidentPeak) {
    EXPECT_EQ(parseUse(stat, status, 100)->peakKibibytes, 12'345U);
}

TEST(CollectorProcessTest, OtherTextsGiveNothing) {
    EXPECT_FALSE(parseUse("", status, 100));
    EXPECT_FALSE(parseUse("4711 (qdxd) S 1 2", status, 100));
    EXPECT_FALSE(parseUse(stat, "", 100));
    EXPECT_FALSE(parseUse(stat, "Name:\tx\nVmHWM:\tmuch\n", 100));
}

TEST(CollectorProcessTest, ALiveProcessUsesMemory) {
    const auto use = readUse(getpid());
    ASSERT_TRUE(use);
    EXPECT_GT(use->peakKibibytes, 0U);
    EXPECT_GE(use->cpuSeconds, 0.0);
}

TEST(CollectorProcessTest, NoProcessGivesNothing) {
    EXPECT_FALSE(readUse(0));
}

}  // namespace
