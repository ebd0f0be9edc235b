#include "hostReader.hpp"

#include <gmock/gmock.h>

#include <chrono>

#include "fakeHost.hpp"
#include "hostFiles.hpp"

namespace HostFe {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

class HostReaderTest : public ::testing::Test {
protected:
    HostSnapshot read() { return reader.read(Clock::time_point(std::chrono::seconds(5))); }

    FakeHost host;
    HostReader reader{HostFiles(host.root()), 10'000};
};

const std::string twoCores = "cpu0 1 2 3 4\ncpu1 1 2 3 4\n";

std::string diskLine(int major, const std::string& name, int reads) {
    return std::to_string(major) + " 0 " + name + " " + std::to_string(reads) +
           " 0 0 0 0 0 0 0 0 0 0\n";
}

TEST_F(HostReaderTest, MachineWithoutFilesTellsNothing) {
    const HostSnapshot snapshot = read();
    EXPECT_EQ(snapshot.time, Clock::time_point(std::chrono::seconds(5)));
    EXPECT_THAT(snapshot.stat.cores, IsEmpty());
    EXPECT_FALSE(snapshot.load);
    EXPECT_THAT(snapshot.memory, IsEmpty());
    EXPECT_FALSE(snapshot.cpuPressure.some);
    EXPECT_THAT(snapshot.frequencies, IsEmpty());
    EXPECT_THAT(snapshot.interfaces, IsEmpty());
    EXPECT_THAT(snapshot.disks, IsEmpty());
    EXPECT_THAT(snapshot.temperatures, IsEmpty());
}

TEST_F(HostReaderTest, ReadsEachFileIntoItsPlace) {
    const auto pressure = [](int total) {
        return "some avg10=0.00 avg60=0.00 avg300=0.00 total=" + std::to_string(total) + "\n";
    };
    host.file("proc/stat", twoCores + "ctxt 9\n")
        .file("proc/loadavg", "0.01 0.02 0.03 1/2 3\n")
        .file("proc/meminfo", "MemTotal: 5 kB\n")
        .file("proc/pressure/cpu", pressure(1))
        .file("proc/pressure/io", pressure(2))
        .file("proc/pressure/memory", pressure(3));
    const HostSnapshot snapshot = read();
    EXPECT_THAT(snapshot.stat.cores, SizeIs(2));
    EXPECT_EQ(snapshot.stat.cores[1].idle, 40'000u);
    EXPECT_EQ(snapshot.stat.contextSwitches, 9u);
    EXPECT_EQ(snapshot.load->fifteenMinutes, 3);
    EXPECT_EQ(snapshot.memory.at("MemTotal"), 5u);
    EXPECT_EQ(snapshot.cpuPressure.some->total, 1u);
    EXPECT_EQ(snapshot.ioPressure.some->total, 2u);
    EXPECT_EQ(snapshot.memoryPressure.some->total, 3u);
}

TEST_F(HostReaderTest, TakesFrequenciesFromTheDriver) {
    host.file("proc/stat", twoCores)
        .file("proc/cpuinfo", "processor: 0\ncpu MHz: 1.0\n")
        .file("sys/devices/system/cpu/cpu0/cpufreq/scaling_cur_freq", "2400000\n")
        .file("sys/devices/system/cpu/cpu1/cpufreq/scaling_cur_freq", "800000\n");
    EXPECT_THAT(read().frequencies, ElementsAre(Pair(0, 2400000), Pair(1, 800000)));
}

TEST_F(HostReaderTest, TakesFrequenciesFromCpuinfoWithoutADriver) {
    host.file("proc/stat", twoCores)
        .file("proc/cpuinfo", "processor: 0\ncpu MHz: 2.5\nprocessor: 1\ncpu MHz: 3.5\n");
    EXPECT_THAT(read().frequencies, ElementsAre(Pair(0, 2500), Pair(1, 3500)));
}

TEST_F(HostReaderTest, NumbersInterfacesAsTheKernelDoes) {
    host.file("proc/net/dev",
              "eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"
              "gone: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"
              "lo: 21 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n")
        .file("sys/class/net/eth0/ifindex", "7\n")
        .file("sys/class/net/lo/ifindex", "1\n");
    const auto interfaces = read().interfaces;
    ASSERT_THAT(interfaces, SizeIs(2));
    EXPECT_EQ(interfaces[0].first, 7);
    EXPECT_EQ(interfaces[0].second.name, "eth0");
    EXPECT_EQ(interfaces[1].first, 1);
    EXPECT_EQ(interfaces[1].second.receivedBytes, 21u);
}

TEST_F(HostReaderTest, TakesWholeDisksAndNoPartitionsLoopsOrMemory) {
    host.file("proc/diskstats", diskLine(1, "ram0", 1) + diskLine(7, "loop0", 2) +
                                    diskLine(8, "sda", 3) + diskLine(8, "sda1", 4) +
                                    diskLine(104, "cciss/c0d0", 5))
        .folder("sys/block/ram0")
        .folder("sys/block/loop0")
        .folder("sys/block/sda")
        .folder("sys/block/cciss!c0d0");
    const auto disks = read().disks;
    ASSERT_THAT(disks, SizeIs(2));
    EXPECT_EQ(disks[0].first, 0);
    EXPECT_EQ(disks[0].second.name, "sda");
    EXPECT_EQ(disks[1].first, 1);
    EXPECT_EQ(disks[1].second.name, "cciss/c0d0");
}

TEST_F(HostReaderTest, DisksKeepTheirNumbersWhenOthersComeAndGo) {
    host.folder("sys/block/sda").folder("sys/block/sdb").folder("sys/block/sdc");
    host.file("proc/diskstats", diskLine(8, "sda", 0) + diskLine(8, "sdb", 0));
    EXPECT_THAT(read().disks, ElementsAre(Pair(0, ::testing::_), Pair(1, ::testing::_)));
    host.file("proc/diskstats", diskLine(8, "sdc", 0) + diskLine(8, "sdb", 0));
    EXPECT_THAT(read().disks, ElementsAre(Pair(2, ::testing::_), Pair(1, ::testing::_)));
}

TEST_F(HostReaderTest, NumbersTemperaturesByTheirZones) {
    host.file("sys/class/thermal/thermal_zone0/temp", "45000\n")
        .file("sys/class/thermal/thermal_zone10/temp", "-1500\n")
        .file("sys/class/thermal/thermal_zone2/type", "no temperature now\n")
        .file("sys/class/thermal/thermal_zoneX/temp", "1\n")
        .file("sys/class/thermal/cooling_device0/temp", "2\n");
    EXPECT_THAT(read().temperatures, ElementsAre(Pair(0, 45000), Pair(10, -1500)));
}

TEST(HostReaderOnThisMachineTest, FindsCoresMemoryAndInterfaces) {
    HostReader reader(HostFiles("/"), 10'000);
    const HostSnapshot snapshot = reader.read(Clock::now());
    EXPECT_FALSE(snapshot.stat.cores.empty());
    EXPECT_TRUE(snapshot.load);
    EXPECT_GT(snapshot.memory.at("MemTotal"), 0u);
    EXPECT_FALSE(snapshot.interfaces.empty());
}

}  // namespace
}  // namespace HostFe
