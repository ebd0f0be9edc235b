// What the texts under /proc say. Every function is pure: text in, values out.
//
// A line that can't be read is left out, and so is a value that this kernel doesn't tell; neither
// is an error, since kernels differ. Times are in microseconds, counts since the system started.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace HostFe {

// The time that one core spent in each state. Time of guests is part of user and nice.
struct CpuTimes {
    int core = 0;
    std::uint64_t user = 0;
    std::uint64_t nice = 0;
    std::uint64_t system = 0;
    std::uint64_t idle = 0;
    std::uint64_t iowait = 0;
    std::uint64_t irq = 0;
    std::uint64_t softirq = 0;
    std::uint64_t steal = 0;

    std::uint64_t busy() const { return user + nice + system + irq + softirq + steal; }
    std::uint64_t total() const { return busy() + idle + iowait; }
};

struct SystemStat {
    std::vector<CpuTimes> cores;
    std::optional<std::uint64_t> interrupts;
    std::optional<std::uint64_t> contextSwitches;
    std::optional<std::uint64_t> forks;
    std::optional<std::uint64_t> running;  // tasks, now
    std::optional<std::uint64_t> blocked;  // tasks, now
};
// /proc/stat, which counts time in ticks.
SystemStat parseStat(std::string_view text, std::uint64_t microsecondsPerTick);

// Average numbers of tasks that run or want to, in hundredths.
struct LoadAverage {
    std::int64_t oneMinute = 0;
    std::int64_t fiveMinutes = 0;
    std::int64_t fifteenMinutes = 0;
};
// /proc/loadavg.
std::optional<LoadAverage> parseLoadAverage(std::string_view text);

// /proc/meminfo: KiB by the names that stand there, "MemAvailable".
using MemoryInfo = std::map<std::string, std::uint64_t, std::less<>>;
MemoryInfo parseMemoryInfo(std::string_view text);

// How long tasks waited for a resource: some of them, or all of them at once.
struct Stall {
    std::int64_t average = 0;  // share of the last 10 seconds, in hundredths of a percent
    std::uint64_t total = 0;
};
struct Pressure {
    std::optional<Stall> some;
    std::optional<Stall> full;
};
// A file of /proc/pressure.
Pressure parsePressure(std::string_view text);

struct InterfaceCounts {
    std::string name;
    std::uint64_t receivedBytes = 0;
    std::uint64_t receivedPackets = 0;
    std::uint64_t receiveErrors = 0;
    std::uint64_t receiveDrops = 0;
    std::uint64_t sentBytes = 0;
    std::uint64_t sentPackets = 0;
    std::uint64_t sendErrors = 0;
    std::uint64_t sendDrops = 0;
};
// /proc/net/dev.
std::vector<InterfaceCounts> parseInterfaces(std::string_view text);

struct DiskCounts {
    std::uint64_t major = 0;  // number of the driver
    std::string name;
    std::uint64_t reads = 0;
    std::uint64_t readBytes = 0;
    std::uint64_t writes = 0;
    std::uint64_t writtenBytes = 0;
    std::uint64_t busyTime = 0;  // at least one operation was under way
};
// /proc/diskstats: disks and their partitions.
std::vector<DiskCounts> parseDisks(std::string_view text);

// /proc/cpuinfo: the frequency of each core, in kHz, where the text tells it.
std::map<int, std::int64_t> parseCpuFrequencies(std::string_view text);

// A file that holds one number, such as the temperature of a zone.
std::optional<std::int64_t> parseNumberFile(std::string_view text);
// The same of a number that is never negative and may fill 64 bits.
std::optional<std::uint64_t> parseCountFile(std::string_view text);

// The value of NAME=value or NAME="value" in /etc/os-release; empty if the text doesn't tell it.
std::string parseOsRelease(std::string_view text, std::string_view name);

// The text without white space and control characters at both ends.
std::string_view strip(std::string_view text);

}  // namespace HostFe
