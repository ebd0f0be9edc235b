#include "hostSampler.hpp"

#include <array>
#include <utility>

namespace HostFe {
namespace {

// What becomes of a value that was read: it is reported as it stands, as its change per second, or
// as its change.
enum class How { Level, Rate, Count };

template <typename Source>
struct Row {
    std::string_view name;
    How how = How::Level;
    std::optional<std::int64_t> (*read)(const Source&) = nullptr;
};

std::optional<std::int64_t> toValue(std::optional<std::uint64_t> number) {
    return number ? std::optional(static_cast<std::int64_t>(*number)) : std::nullopt;
}

template <auto member, typename Source>
std::optional<std::int64_t> field(const Source& source) {
    return toValue(source.*member);
}

std::optional<std::int64_t> itself(const std::int64_t& value) {
    return value;
}

template <auto member>
std::optional<std::int64_t> systemStat(const HostSnapshot& snapshot) {
    return toValue(snapshot.stat.*member);
}

template <auto member>
std::optional<std::int64_t> loadAverage(const HostSnapshot& snapshot) {
    return snapshot.load ? std::optional(*snapshot.load.*member) : std::nullopt;
}

std::optional<std::int64_t> memory(const HostSnapshot& snapshot, std::string_view name) {
    const auto found = snapshot.memory.find(name);
    return found == snapshot.memory.end() ? std::nullopt : toValue(found->second);
}

template <auto resource, auto who>
std::optional<std::int64_t> stallShare(const HostSnapshot& snapshot) {
    const std::optional<Stall>& stall = snapshot.*resource.*who;
    return stall ? std::optional(stall->average) : std::nullopt;
}

template <auto resource, auto who>
std::optional<std::int64_t> stallTime(const HostSnapshot& snapshot) {
    const std::optional<Stall>& stall = snapshot.*resource.*who;
    return stall ? toValue(stall->total) : std::nullopt;
}

// The share of its time that a core works. It is made of two counts, so it has no row.
constexpr std::string_view cpuLoad = "host:cpu:load";
constexpr std::string_view cpuTime = "host:cpu:time";

constexpr std::array coreRows{
    Row<CpuTimes>{"host:cpu:busy", How::Count,
                  [](const CpuTimes& times) { return toValue(times.busy()); }},
    Row<CpuTimes>{"host:cpu:user", How::Count, field<&CpuTimes::user>},
    Row<CpuTimes>{"host:cpu:nice", How::Count, field<&CpuTimes::nice>},
    Row<CpuTimes>{"host:cpu:system", How::Count, field<&CpuTimes::system>},
    Row<CpuTimes>{"host:cpu:idle", How::Count, field<&CpuTimes::idle>},
    Row<CpuTimes>{"host:cpu:iowait", How::Count, field<&CpuTimes::iowait>},
    Row<CpuTimes>{"host:cpu:irq", How::Count, field<&CpuTimes::irq>},
    Row<CpuTimes>{"host:cpu:softirq", How::Count, field<&CpuTimes::softirq>},
    Row<CpuTimes>{"host:cpu:steal", How::Count, field<&CpuTimes::steal>},
};

constexpr std::array frequencyRows{Row<std::int64_t>{"host:cpu:frequency", How::Level, itself}};

constexpr std::array temperatureRows{
    Row<std::int64_t>{"host:thermal:temperature", How::Level, itself}};

constexpr std::array interfaceRows{
    Row<InterfaceCounts>{"host:net:receiveRate", How::Rate, field<&InterfaceCounts::receivedBytes>},
    Row<InterfaceCounts>{"host:net:sendRate", How::Rate, field<&InterfaceCounts::sentBytes>},
    Row<InterfaceCounts>{"host:net:receivedBytes", How::Count,
                         field<&InterfaceCounts::receivedBytes>},
    Row<InterfaceCounts>{"host:net:receivedPackets", How::Count,
                         field<&InterfaceCounts::receivedPackets>},
    Row<InterfaceCounts>{"host:net:receiveErrors", How::Count,
                         field<&InterfaceCounts::receiveErrors>},
    Row<InterfaceCounts>{"host:net:receiveDrops", How::Count,
                         field<&InterfaceCounts::receiveDrops>},
    Row<InterfaceCounts>{"host:net:sentBytes", How::Count, field<&InterfaceCounts::sentBytes>},
    Row<InterfaceCounts>{"host:net:sentPackets", How::Count, field<&InterfaceCounts::sentPackets>},
    Row<InterfaceCounts>{"host:net:sendErrors", How::Count, field<&InterfaceCounts::sendErrors>},
    Row<InterfaceCounts>{"host:net:sendDrops", How::Count, field<&InterfaceCounts::sendDrops>},
};

constexpr std::array diskRows{
    Row<DiskCounts>{"host:disk:readRate", How::Rate, field<&DiskCounts::readBytes>},
    Row<DiskCounts>{"host:disk:writeRate", How::Rate, field<&DiskCounts::writtenBytes>},
    Row<DiskCounts>{"host:disk:reads", How::Count, field<&DiskCounts::reads>},
    Row<DiskCounts>{"host:disk:readBytes", How::Count, field<&DiskCounts::readBytes>},
    Row<DiskCounts>{"host:disk:writes", How::Count, field<&DiskCounts::writes>},
    Row<DiskCounts>{"host:disk:writtenBytes", How::Count, field<&DiskCounts::writtenBytes>},
    Row<DiskCounts>{"host:disk:busy", How::Count, field<&DiskCounts::busyTime>},
};

using Host = HostSnapshot;
constexpr std::array hostRows{
    Row<Host>{"host:load:oneMinute", How::Level, loadAverage<&LoadAverage::oneMinute>},
    Row<Host>{"host:load:fiveMinutes", How::Level, loadAverage<&LoadAverage::fiveMinutes>},
    Row<Host>{"host:load:fifteenMinutes", How::Level, loadAverage<&LoadAverage::fifteenMinutes>},
    Row<Host>{"host:load:running", How::Level, systemStat<&SystemStat::running>},
    Row<Host>{"host:load:blocked", How::Level, systemStat<&SystemStat::blocked>},
    Row<Host>{"host:cpu:interrupts", How::Count, systemStat<&SystemStat::interrupts>},
    Row<Host>{"host:cpu:contextSwitches", How::Count, systemStat<&SystemStat::contextSwitches>},
    Row<Host>{"host:cpu:forks", How::Count, systemStat<&SystemStat::forks>},
    Row<Host>{"host:memory:total", How::Level,
              [](const Host& host) { return memory(host, "MemTotal"); }},
    Row<Host>{"host:memory:available", How::Level,
              [](const Host& host) { return memory(host, "MemAvailable"); }},
    Row<Host>{"host:memory:free", How::Level,
              [](const Host& host) { return memory(host, "MemFree"); }},
    Row<Host>{"host:memory:buffers", How::Level,
              [](const Host& host) { return memory(host, "Buffers"); }},
    Row<Host>{"host:memory:cached", How::Level,
              [](const Host& host) { return memory(host, "Cached"); }},
    Row<Host>{"host:memory:dirty", How::Level,
              [](const Host& host) { return memory(host, "Dirty"); }},
    Row<Host>{"host:memory:swapTotal", How::Level,
              [](const Host& host) { return memory(host, "SwapTotal"); }},
    Row<Host>{"host:memory:swapFree", How::Level,
              [](const Host& host) { return memory(host, "SwapFree"); }},
    Row<Host>{"host:pressure:cpuSome", How::Level, stallShare<&Host::cpuPressure, &Pressure::some>},
    Row<Host>{"host:pressure:ioSome", How::Level, stallShare<&Host::ioPressure, &Pressure::some>},
    Row<Host>{"host:pressure:ioFull", How::Level, stallShare<&Host::ioPressure, &Pressure::full>},
    Row<Host>{"host:pressure:memorySome", How::Level,
              stallShare<&Host::memoryPressure, &Pressure::some>},
    Row<Host>{"host:pressure:memoryFull", How::Level,
              stallShare<&Host::memoryPressure, &Pressure::full>},
    Row<Host>{"host:pressure:cpuSomeTime", How::Count,
              stallTime<&Host::cpuPressure, &Pressure::some>},
    Row<Host>{"host:pressure:ioSomeTime", How::Count,
              stallTime<&Host::ioPressure, &Pressure::some>},
    Row<Host>{"host:pressure:ioFullTime", How::Count,
              stallTime<&Host::ioPressure, &Pressure::full>},
    Row<Host>{"host:pressure:memorySomeTime", How::Count,
              stallTime<&Host::memoryPressure, &Pressure::some>},
    Row<Host>{"host:pressure:memoryFullTime", How::Count,
              stallTime<&Host::memoryPressure, &Pressure::full>},
};

template <typename Rows>
void appendObjects(const Rows& rows, std::vector<HostObject>& objects) {
    for (const auto& row : rows) {
        const bool counts = row.how == How::Count;
        objects.push_back({row.name, counts ? SampleKind::Counter : SampleKind::Measurement});
    }
}

}  // namespace

std::vector<HostObject> hostObjects() {
    std::vector<HostObject> objects{{cpuLoad, SampleKind::Measurement}};
    appendObjects(coreRows, objects);
    appendObjects(frequencyRows, objects);
    appendObjects(temperatureRows, objects);
    appendObjects(interfaceRows, objects);
    appendObjects(diskRows, objects);
    appendObjects(hostRows, objects);
    return objects;
}

const std::vector<Sample>& HostSampler::sample(const HostSnapshot& snapshot) {
    now = snapshot.time;
    samples.clear();
    for (const CpuTimes& times : snapshot.stat.cores) {
        emitLoad(times);
        emitRows(coreRows, times.core, times);
    }
    emitDevices(frequencyRows, snapshot.frequencies);
    emitDevices(temperatureRows, snapshot.temperatures);
    emitDevices(interfaceRows, snapshot.interfaces);
    emitDevices(diskRows, snapshot.disks);
    emitRows(hostRows, std::nullopt, snapshot);
    return samples;
}

template <typename Source, typename Rows>
void HostSampler::emitRows(const Rows& rows, std::optional<int> device, const Source& source) {
    for (const auto& row : rows) {
        const auto value = row.read(source);
        if (!value) {
            continue;
        }
        switch (row.how) {
            case How::Level:
                emitLevel(row.name, device, *value);
                break;
            case How::Rate:
                emitRate(row.name, device, *value);
                break;
            case How::Count:
                emitCount(row.name, device, *value);
                break;
        }
    }
}

template <typename Source, typename Rows>
void HostSampler::emitDevices(const Rows& rows, const ByDevice<Source>& devices) {
    for (const auto& [device, source] : devices) {
        emitRows(rows, device, source);
    }
}

// In hundredths of a percent of the time that the kernel itself accounted for, so that a core never
// works more than all the time.
void HostSampler::emitLoad(const CpuTimes& times) {
    constexpr std::int64_t whole = 10'000;
    const auto busy = advance(cpuLoad, times.core, static_cast<std::int64_t>(times.busy()));
    const auto total = advance(cpuTime, times.core, static_cast<std::int64_t>(times.total()));
    if (busy && total && total->count > 0) {
        emitLevel(cpuLoad, times.core, whole * busy->count / total->count);
    }
}

void HostSampler::emitRate(std::string_view name, std::optional<int> device, std::int64_t count) {
    const auto increment = advance(name, device, count);
    if (!increment || increment->time <= Clock::duration::zero()) {
        return;
    }
    const std::chrono::duration<double> seconds = increment->time;
    emitLevel(name, device,
              static_cast<std::int64_t>(static_cast<double>(increment->count) / seconds.count()));
}

void HostSampler::emitCount(std::string_view name, std::optional<int> device, std::int64_t count) {
    if (const auto increment = advance(name, device, count)) {
        samples.push_back({{name, SampleKind::Counter}, device, increment->count});
    }
}

void HostSampler::emitLevel(std::string_view name, std::optional<int> device, std::int64_t value) {
    samples.push_back({{name, SampleKind::Measurement}, device, value});
}

// Empty the first time, and when the count fell.
std::optional<HostSampler::Increment> HostSampler::advance(std::string_view name,
                                                           std::optional<int> device,
                                                           std::int64_t count) {
    const auto [entry, isNew] = standings.try_emplace({name, device}, Standing{count, now});
    const Standing before = std::exchange(entry->second, Standing{count, now});
    if (isNew || count < before.count) {
        return std::nullopt;
    }
    return Increment{count - before.count, now - before.time};
}

}  // namespace HostFe
