#include "hostReader.hpp"

#include <algorithm>
#include <string_view>

namespace HostFe {
namespace {

// Disks in memory and images mounted from files: what they do shows up elsewhere, or is no disk's.
bool isRealDisk(const DiskCounts& disk) {
    constexpr std::uint64_t ramMajor = 1;
    constexpr std::uint64_t loopMajor = 7;
    return disk.major != ramMajor && disk.major != loopMajor;
}

}  // namespace

HostSnapshot HostReader::read(Clock::time_point now) {
    HostSnapshot snapshot;
    snapshot.time = now;
    snapshot.stat = parseStat(files.read("proc/stat"), tickMicroseconds);
    snapshot.load = parseLoadAverage(files.read("proc/loadavg"));
    snapshot.memory = parseMemoryInfo(files.read("proc/meminfo"));
    snapshot.cpuPressure = parsePressure(files.read("proc/pressure/cpu"));
    snapshot.ioPressure = parsePressure(files.read("proc/pressure/io"));
    snapshot.memoryPressure = parsePressure(files.read("proc/pressure/memory"));
    snapshot.frequencies = readFrequencies(snapshot.stat.cores);
    snapshot.interfaces = readInterfaces();
    snapshot.disks = readDisks();
    snapshot.temperatures = readTemperatures();
    return snapshot;
}

// The driver's file tells the frequency best, but virtual machines often have none.
ByDevice<std::int64_t> HostReader::readFrequencies(const std::vector<CpuTimes>& cores) const {
    ByDevice<std::int64_t> frequencies;
    for (const CpuTimes& times : cores) {
        const std::string driver =
            "sys/devices/system/cpu/cpu" + std::to_string(times.core) + "/cpufreq/scaling_cur_freq";
        if (const auto kilohertz = parseNumberFile(files.read(driver))) {
            frequencies.emplace_back(times.core, *kilohertz);
        }
    }
    if (frequencies.empty()) {
        const auto told = parseCpuFrequencies(files.read("proc/cpuinfo"));
        frequencies.assign(told.begin(), told.end());
    }
    return frequencies;
}

ByDevice<InterfaceCounts> HostReader::readInterfaces() const {
    ByDevice<InterfaceCounts> interfaces;
    for (InterfaceCounts& counts : parseInterfaces(files.read("proc/net/dev"))) {
        const auto index = parseNumberFile(files.read("sys/class/net/" + counts.name + "/ifindex"));
        if (index && std::in_range<int>(*index)) {
            interfaces.emplace_back(static_cast<int>(*index), std::move(counts));
        }
    }
    return interfaces;
}

// Whole disks stand in sys/block, partitions don't; the slashes of some disks' names are "!" there.
ByDevice<DiskCounts> HostReader::readDisks() {
    ByDevice<DiskCounts> disks;
    for (DiskCounts& counts : parseDisks(files.read("proc/diskstats"))) {
        std::string entry = counts.name;
        std::replace(entry.begin(), entry.end(), '/', '!');
        if (!isRealDisk(counts) || !files.exists("sys/block/" + entry)) {
            continue;
        }
        const int next = static_cast<int>(diskNumbers.size());
        const int number = diskNumbers.try_emplace(counts.name, next).first->second;
        disks.emplace_back(number, std::move(counts));
    }
    return disks;
}

ByDevice<std::int64_t> HostReader::readTemperatures() const {
    ByDevice<std::int64_t> temperatures;
    constexpr std::string_view prefix = "thermal_zone";
    for (const std::string& name : files.list("sys/class/thermal")) {
        if (!name.starts_with(prefix)) {
            continue;
        }
        const auto zone = parseNumberFile(std::string_view(name).substr(prefix.size()));
        const auto temperature = parseNumberFile(files.read("sys/class/thermal/" + name + "/temp"));
        if (zone && std::in_range<int>(*zone) && temperature) {
            temperatures.emplace_back(static_cast<int>(*zone), *temperature);
        }
    }
    return temperatures;
}

}  // namespace HostFe
