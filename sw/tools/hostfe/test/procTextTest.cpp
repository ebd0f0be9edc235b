#include "procText.hpp"

#include <gmock/gmock.h>

namespace HostFe {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

constexpr std::uint64_t tick = 10'000;

TEST(StatTextTest, TellsTheTimesOfEachCoreInMicroseconds) {
    const auto stat = parseStat(
        "cpu  865 0 1060 158605 204 0 28 6 0 0\n"
        "cpu0 247 1 391 79665 2 3 7 4 5 6\n"
        "cpu12 618 0 669 78939 201 0 20 5 0 0\n",
        tick);
    ASSERT_THAT(stat.cores, SizeIs(2));
    const CpuTimes& first = stat.cores[0];
    EXPECT_EQ(first.core, 0);
    EXPECT_EQ(first.user, 2'470'000u);
    EXPECT_EQ(first.nice, 10'000u);
    EXPECT_EQ(first.system, 3'910'000u);
    EXPECT_EQ(first.idle, 796'650'000u);
    EXPECT_EQ(first.iowait, 20'000u);
    EXPECT_EQ(first.irq, 30'000u);
    EXPECT_EQ(first.softirq, 70'000u);
    EXPECT_EQ(first.steal, 40'000u);
    EXPECT_EQ(first.busy(), (247u + 1 + 391 + 3 + 7 + 4) * tick);
    EXPECT_EQ(first.total(), first.busy() + (79665u + 2) * tick);
    EXPECT_EQ(stat.cores[1].core, 12);
    EXPECT_EQ(stat.cores[1].user, 6'180'000u);
}

TEST(StatTextTest, StatesThatAnOldKernelDoesNotTellAreZero) {
    const auto stat = parseStat("cpu0 1 2 3 4\n", tick);
    ASSERT_THAT(stat.cores, SizeIs(1));
    EXPECT_EQ(stat.cores[0].idle, 40'000u);
    EXPECT_EQ(stat.cores[0].steal, 0u);
}

TEST(StatTextTest, StatesOfALaterKernelAreLeftOut) {
    const auto stat = parseStat("cpu0 1 2 3 4 5 6 7 8 9 10 11 12 13 14\n", tick);
    ASSERT_THAT(stat.cores, SizeIs(1));
    EXPECT_EQ(stat.cores[0].steal, 80'000u);
}

TEST(StatTextTest, TellsTheCountsOfTheMachine) {
    const auto stat = parseStat(
        "intr 115491 0 0 9 1 1\n"
        "ctxt 20001\n"
        "btime 1700000000\n"
        "processes 5038\n"
        "procs_running 2\n"
        "procs_blocked 1\n"
        "softirq 81206 0 2 3\n",
        tick);
    EXPECT_EQ(stat.interrupts, 115491u);
    EXPECT_EQ(stat.contextSwitches, 20001u);
    EXPECT_EQ(stat.forks, 5038u);
    EXPECT_EQ(stat.running, 2u);
    EXPECT_EQ(stat.blocked, 1u);
    EXPECT_THAT(stat.cores, IsEmpty());
}

TEST(StatTextTest, ReadsTheFirstNumberOfALongLine) {
    std::string text = "intr 77";
    for (int interrupt = 0; interrupt < 10000; ++interrupt) {
        text += " 0";
    }
    EXPECT_EQ(parseStat(text + "\nctxt 5\n", tick).interrupts, 77u);
}

TEST(StatTextTest, LeavesOutLinesThatCannotBeRead) {
    for (const auto* line :
         {"cpu0 1 2 3", "cpu0 1 2 three 4", "cpu0 1 2 -3 4", "cpuX 1 2 3 4", "cpu0", "cpu", "",
          "cpufreq 1 2 3 4", "cpu0 99999999999999999999 2 3 4"}) {
        EXPECT_THAT(parseStat(line, tick).cores, IsEmpty()) << line;
    }
    EXPECT_EQ(parseStat("ctxt many\n", tick).contextSwitches, std::nullopt);
    EXPECT_EQ(parseStat("ctxt\n", tick).contextSwitches, std::nullopt);
    EXPECT_EQ(parseStat("", tick).forks, std::nullopt);
}

TEST(StatTextTest, ReadsALastLineWithoutAnEnd) {
    EXPECT_EQ(parseStat("ctxt 5", tick).contextSwitches, 5u);
}

TEST(LoadAverageTextTest, TellsHundredths) {
    const auto load = parseLoadAverage("0.05 1.20 137.99 2/89 5038\n");
    ASSERT_TRUE(load.has_value());
    EXPECT_EQ(load->oneMinute, 5);
    EXPECT_EQ(load->fiveMinutes, 120);
    EXPECT_EQ(load->fifteenMinutes, 13799);
}

TEST(LoadAverageTextTest, ReadsFewerAndMoreDigits) {
    const auto load = parseLoadAverage("1 1.5 1.2599 1/1 1\n");
    ASSERT_TRUE(load.has_value());
    EXPECT_EQ(load->oneMinute, 100);
    EXPECT_EQ(load->fiveMinutes, 150);
    EXPECT_EQ(load->fifteenMinutes, 125);
}

TEST(LoadAverageTextTest, IsEmptyForOtherTexts) {
    for (const auto* text : {"", "\n", "0.00 0.01", "a b c", "0.00 0.x1 0.05", ".5 0.01 0.05"}) {
        EXPECT_FALSE(parseLoadAverage(text).has_value()) << text;
    }
}

TEST(MemoryTextTest, TellsKibibytesByName) {
    EXPECT_THAT(parseMemoryInfo("MemTotal:       24684092 kB\n"
                                "Active(anon):       1544 kB\n"
                                "SwapTotal:             0 kB\n"),
                ElementsAre(Pair("Active(anon)", 1544u), Pair("MemTotal", 24684092u),
                            Pair("SwapTotal", 0u)));
}

TEST(MemoryTextTest, LeavesOutPagesAndLinesThatCannotBeRead) {
    EXPECT_THAT(parseMemoryInfo("HugePages_Total:       3\n"
                                "MemFree: much kB\n"
                                "MemFree 5 kB\n"
                                "MemFree: 5 MB\n"
                                "MemFree: 5 kB more\n"
                                "\n"),
                IsEmpty());
}

TEST(PressureTextTest, TellsSharesInHundredthsAndTotals) {
    const auto pressure = parsePressure(
        "some avg10=0.05 avg60=0.31 avg300=0.13 total=2885071\n"
        "full avg10=12.34 avg60=0.00 avg300=0.00 total=7\n");
    ASSERT_TRUE(pressure.some && pressure.full);
    EXPECT_EQ(pressure.some->average, 5);
    EXPECT_EQ(pressure.some->total, 2885071u);
    EXPECT_EQ(pressure.full->average, 1234);
    EXPECT_EQ(pressure.full->total, 7u);
}

TEST(PressureTextTest, OldKernelsTellOnlyOneLineForCpu) {
    const auto pressure = parsePressure("some avg10=100.00 avg60=0.31 avg300=0.13 total=1\n");
    ASSERT_TRUE(pressure.some);
    EXPECT_EQ(pressure.some->average, 10000);
    EXPECT_FALSE(pressure.full);
}

TEST(PressureTextTest, LeavesOutLinesThatCannotBeRead) {
    for (const auto* text : {"", "some\n", "some avg10=0.05\n", "some total=5\n",
                             "some avg10=x total=5\n", "some avg10=0.05 total=x\n", "\n"}) {
        EXPECT_FALSE(parsePressure(text).some) << text;
    }
}

constexpr std::string_view interfaceHeads =
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop "
    "fifo colls carrier compressed\n";

TEST(InterfaceTextTest, TellsBothDirections) {
    const auto interfaces =
        parseInterfaces(std::string(interfaceHeads) +
                        "    lo:    3267      29    0    0    0     0          0         0     "
                        "3267      29    0    0"
                        "    0     0       0          0\n"
                        "  eth0: 19405473 539 1 2 3 4 5 6 26433 314 7 8 9 10 11 12\n");
    ASSERT_THAT(interfaces, SizeIs(2));
    EXPECT_EQ(interfaces[0].name, "lo");
    EXPECT_EQ(interfaces[0].receivedBytes, 3267u);
    const InterfaceCounts& eth0 = interfaces[1];
    EXPECT_EQ(eth0.name, "eth0");
    EXPECT_EQ(eth0.receivedBytes, 19405473u);
    EXPECT_EQ(eth0.receivedPackets, 539u);
    EXPECT_EQ(eth0.receiveErrors, 1u);
    EXPECT_EQ(eth0.receiveDrops, 2u);
    EXPECT_EQ(eth0.sentBytes, 26433u);
    EXPECT_EQ(eth0.sentPackets, 314u);
    EXPECT_EQ(eth0.sendErrors, 7u);
    EXPECT_EQ(eth0.sendDrops, 8u);
}

TEST(InterfaceTextTest, ReadsANumberRightBehindTheColon) {
    const auto interfaces = parseInterfaces("eth0.5:1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n");
    ASSERT_THAT(interfaces, SizeIs(1));
    EXPECT_EQ(interfaces[0].name, "eth0.5");
    EXPECT_EQ(interfaces[0].receivedBytes, 1u);
    EXPECT_EQ(interfaces[0].sentBytes, 9u);
}

TEST(InterfaceTextTest, LeavesOutLinesThatCannotBeRead) {
    EXPECT_THAT(parseInterfaces(interfaceHeads), IsEmpty());
    EXPECT_THAT(parseInterfaces("eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n"), IsEmpty());
    EXPECT_THAT(parseInterfaces("eth0: 1 2 3 4 5 6 7 x 9 10 11 12 13 14 15 16\n"), IsEmpty());
    EXPECT_THAT(parseInterfaces("eth0\n\n"), IsEmpty());
}

TEST(DiskTextTest, TellsOperationsBytesAndTime) {
    const auto disks = parseDisks(
        " 254       0 vda 30924 6780 2187610 4750 4758 6145 260608 1003 0 2876 5969 4014 38 102184 "
        "192 590 23\n");
    ASSERT_THAT(disks, SizeIs(1));
    EXPECT_EQ(disks[0].major, 254u);
    EXPECT_EQ(disks[0].name, "vda");
    EXPECT_EQ(disks[0].reads, 30924u);
    EXPECT_EQ(disks[0].readBytes, 2187610u * 512);
    EXPECT_EQ(disks[0].writes, 4758u);
    EXPECT_EQ(disks[0].writtenBytes, 260608u * 512);
    EXPECT_EQ(disks[0].busyTime, 2'876'000u);
}

TEST(DiskTextTest, ReadsTheColumnsOfOldKernels) {
    const auto disks = parseDisks("8 0 sda 1 2 3 4 5 6 7 8 9 10 11\n");
    ASSERT_THAT(disks, SizeIs(1));
    EXPECT_EQ(disks[0].busyTime, 10'000u);
}

TEST(DiskTextTest, LeavesOutLinesThatCannotBeRead) {
    for (const auto* line : {"", "8 1 sda1 1 2 3 4\n", "x 0 sda 1 2 3 4 5 6 7 8 9 10 11\n",
                             "8 0 sda 1 2 3 4 5 6 7 8 9 ten 11\n"}) {
        EXPECT_THAT(parseDisks(line), IsEmpty()) << line;
    }
}

TEST(CpuInfoTextTest, TellsTheFrequencyOfEachCoreInKilohertz) {
    EXPECT_THAT(parseCpuFrequencies("processor\t: 0\nvendor_id\t: X\ncpu MHz\t\t: 2596.120\n\n"
                                    "processor\t: 3\ncpu MHz\t\t: 800\n"),
                ElementsAre(Pair(0, 2596120), Pair(3, 800000)));
}

TEST(CpuInfoTextTest, IsEmptyWhereTheTextTellsNone) {
    EXPECT_THAT(parseCpuFrequencies("processor\t: 0\nBogoMIPS\t: 50.00\n"), IsEmpty());
    EXPECT_THAT(parseCpuFrequencies("cpu MHz\t\t: 2596.120\n"), IsEmpty());
    EXPECT_THAT(parseCpuFrequencies("processor: 0\ncpu MHz\t\t: fast\n"), IsEmpty());
    EXPECT_THAT(parseCpuFrequencies("processor: none\ncpu MHz\t\t: 1.0\n"), IsEmpty());
}

TEST(NumberTextTest, ReadsOneNumberOfEitherSign) {
    EXPECT_EQ(parseNumberFile("45000\n"), 45000);
    EXPECT_EQ(parseNumberFile("-3500\n"), -3500);
    EXPECT_EQ(parseNumberFile("7"), 7);
}

TEST(NumberTextTest, IsEmptyForOtherTexts) {
    for (const auto* text : {"", "\n", "<unknown>", "1 2", "1.5", "99999999999999999999"}) {
        EXPECT_EQ(parseNumberFile(text), std::nullopt) << text;
    }
}

TEST(CountTextTest, ReadsOneNumberOf64Bits) {
    EXPECT_EQ(parseCountFile("45000\n"), 45000u);
    EXPECT_EQ(parseCountFile("18446744073709551615\n"), 18446744073709551615u);
}

TEST(CountTextTest, IsEmptyForOtherTexts) {
    for (const auto* text : {"", "\n", "-1", "1 2", "1.5", "18446744073709551616"}) {
        EXPECT_EQ(parseCountFile(text), std::nullopt) << text;
    }
}

TEST(OsReleaseTextTest, ReadsPlainAndQuotedValues) {
    const std::string_view text =
        "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nVERSION_ID='12'\nID=debian\nEMPTY=\n"
        "ODD=\"open\nEQUALS=a=b\n";
    EXPECT_EQ(parseOsRelease(text, "PRETTY_NAME"), "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(parseOsRelease(text, "VERSION_ID"), "12");
    EXPECT_EQ(parseOsRelease(text, "ID"), "debian");
    EXPECT_EQ(parseOsRelease(text, "EMPTY"), "");
    EXPECT_EQ(parseOsRelease(text, "ODD"), "\"open");
    EXPECT_EQ(parseOsRelease(text, "EQUALS"), "a=b");
    EXPECT_EQ(parseOsRelease(text, "NAME"), "");
    EXPECT_EQ(parseOsRelease("", "ID"), "");
}

TEST(StripTest, TakesOffWhiteSpaceAndNulsAtBothEnds) {
    EXPECT_EQ(strip(" \tboard name\n"), "board name");
    EXPECT_EQ(strip(std::string_view("board\0", 6)), "board");
    EXPECT_EQ(strip(" \n"), "");
    EXPECT_EQ(strip(""), "");
}

}  // namespace
}  // namespace HostFe
