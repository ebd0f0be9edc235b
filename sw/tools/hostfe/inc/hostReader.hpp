// The state of a Linux machine at one moment.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "byDevice.hpp"
#include "hostFiles.hpp"
#include "procText.hpp"

namespace HostFe {

using Clock = std::chrono::steady_clock;

struct HostSnapshot {
    Clock::time_point time;
    SystemStat stat;
    std::optional<LoadAverage> load;
    MemoryInfo memory;
    Pressure cpuPressure;
    Pressure ioPressure;
    Pressure memoryPressure;
    ByDevice<std::int64_t> frequencies;    // kHz, by core
    ByDevice<InterfaceCounts> interfaces;  // by the kernel's index of the interface
    ByDevice<DiskCounts> disks;            // by the order in which disks were first seen
    ByDevice<std::int64_t> temperatures;   // thousandths of a degree Celsius, by thermal zone
};

// Takes snapshots. The numbers of devices stay the same as long as the reader lives. One thread.
class HostReader {
public:
    HostReader(HostFiles hostFiles, std::uint64_t microsecondsPerTick)
        : files(std::move(hostFiles)), tickMicroseconds(microsecondsPerTick) {}

    HostSnapshot read(Clock::time_point now);

private:
    ByDevice<std::int64_t> readFrequencies(const std::vector<CpuTimes>& cores) const;
    ByDevice<InterfaceCounts> readInterfaces() const;
    ByDevice<DiskCounts> readDisks();
    ByDevice<std::int64_t> readTemperatures() const;

    const HostFiles files;
    const std::uint64_t tickMicroseconds;
    std::map<std::string, int> diskNumbers;
};

}  // namespace HostFe
