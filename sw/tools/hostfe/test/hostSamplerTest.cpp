#include "hostSampler.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "allocationCounter.hpp"

namespace HostFe {
namespace {

using std::chrono::milliseconds;
using ::testing::IsEmpty;

// A snapshot of one moment in the machine's life.
HostSnapshot at(milliseconds time) {
    HostSnapshot snapshot;
    snapshot.time = Clock::time_point(time);
    return snapshot;
}

HostSnapshot interface(milliseconds time, int index, std::uint64_t receivedBytes) {
    HostSnapshot snapshot = at(time);
    snapshot.interfaces.emplace_back(
        index, InterfaceCounts{.name = "eth0", .receivedBytes = receivedBytes});
    return snapshot;
}

HostSnapshot core(milliseconds time, int number, std::uint64_t user, std::uint64_t idle) {
    HostSnapshot snapshot = at(time);
    snapshot.stat.cores.push_back({.core = number, .user = user, .idle = idle});
    return snapshot;
}

// The value of the object and device; empty if there is no such sample.
std::optional<std::int64_t> valueOf(const std::vector<Sample>& samples, const std::string& name,
                                    std::optional<int> device = std::nullopt) {
    const auto found = std::find_if(samples.begin(), samples.end(), [&](const Sample& sample) {
        return sample.object.name == name && sample.device == device;
    });
    return found == samples.end() ? std::nullopt : std::optional(found->value);
}

// A machine that tells everything, with counts that grow by step.
HostSnapshot everything(milliseconds time, std::uint64_t step) {
    HostSnapshot snapshot = at(time);
    snapshot.stat = {.cores = {{0, step, step, step, step, step, step, step, step}},
                     .interrupts = step,
                     .contextSwitches = step,
                     .forks = step,
                     .running = 1,
                     .blocked = 1};
    snapshot.load = LoadAverage{1, 2, 3};
    for (const auto* name : {"MemTotal", "MemAvailable", "MemFree", "Buffers", "Cached", "Dirty",
                             "SwapTotal", "SwapFree"}) {
        snapshot.memory[name] = 1;
    }
    const Pressure pressure{.some = Stall{1, step}, .full = Stall{2, step}};
    snapshot.cpuPressure = snapshot.ioPressure = snapshot.memoryPressure = pressure;
    snapshot.frequencies.emplace_back(0, 1);
    snapshot.temperatures.emplace_back(0, 1);
    snapshot.interfaces.emplace_back(
        1, InterfaceCounts{"eth0", step, step, step, step, step, step, step, step});
    snapshot.disks.emplace_back(0, DiskCounts{8, "sda", step, step, step, step, step});
    return snapshot;
}

TEST(HostSamplerTest, EmptyMachineGivesNothing) {
    HostSampler sampler;
    EXPECT_THAT(sampler.sample(at(milliseconds(0))), IsEmpty());
    EXPECT_THAT(sampler.sample(at(milliseconds(100))), IsEmpty());
}

TEST(HostSamplerTest, FirstSnapshotGivesLevelsAndNoIncrements) {
    HostSampler sampler;
    for (const Sample& sample : sampler.sample(everything(milliseconds(0), 1))) {
        EXPECT_EQ(sample.object.kind, SampleKind::Measurement) << sample.object.name;
        EXPECT_FALSE(sample.object.name.ends_with("Rate")) << sample.object.name;
        EXPECT_NE(sample.object.name, "host:cpu:load");
    }
}

TEST(HostSamplerTest, SecondSnapshotOfAFullMachineGivesEveryObjectOnce) {
    HostSampler sampler;
    sampler.sample(everything(milliseconds(0), 0));
    std::vector<std::pair<std::string, SampleKind>> given;
    for (const Sample& sample : sampler.sample(everything(milliseconds(1000), 5))) {
        given.emplace_back(sample.object.name, sample.object.kind);
    }
    std::vector<std::pair<std::string, SampleKind>> known;
    for (const HostObject& object : hostObjects()) {
        known.emplace_back(object.name, object.kind);
    }
    EXPECT_THAT(given, ::testing::UnorderedElementsAreArray(known));
}

TEST(HostSamplerTest, CounterIsTheIncrementSinceTheSnapshotBefore) {
    HostSampler sampler;
    sampler.sample(interface(milliseconds(0), 3, 1000));
    EXPECT_EQ(
        valueOf(sampler.sample(interface(milliseconds(100), 3, 1500)), "host:net:receivedBytes", 3),
        500);
    EXPECT_EQ(
        valueOf(sampler.sample(interface(milliseconds(200), 3, 1500)), "host:net:receivedBytes", 3),
        0);
    EXPECT_EQ(
        valueOf(sampler.sample(interface(milliseconds(300), 3, 1501)), "host:net:receivedBytes", 3),
        1);
}

TEST(HostSamplerTest, RateIsTheIncrementPerSecond) {
    HostSampler sampler;
    sampler.sample(interface(milliseconds(0), 3, 1000));
    EXPECT_EQ(
        valueOf(sampler.sample(interface(milliseconds(100), 3, 1500)), "host:net:receiveRate", 3),
        5000);
    EXPECT_EQ(
        valueOf(sampler.sample(interface(milliseconds(2100), 3, 1501)), "host:net:receiveRate", 3),
        0);
}

TEST(HostSamplerTest, NoTimeBetweenSnapshotsGivesNoRate) {
    HostSampler sampler;
    sampler.sample(interface(milliseconds(100), 3, 1000));
    const auto samples = sampler.sample(interface(milliseconds(100), 3, 1500));
    EXPECT_EQ(valueOf(samples, "host:net:receiveRate", 3), std::nullopt);
    EXPECT_EQ(valueOf(samples, "host:net:receivedBytes", 3), 500);
}

TEST(HostSamplerTest, CountThatFellBeginsAnew) {
    HostSampler sampler;
    sampler.sample(interface(milliseconds(0), 3, 1000));
    const auto fell = sampler.sample(interface(milliseconds(100), 3, 10));
    EXPECT_EQ(valueOf(fell, "host:net:receivedBytes", 3), std::nullopt);
    EXPECT_EQ(valueOf(fell, "host:net:receiveRate", 3), std::nullopt);
    EXPECT_EQ(
        valueOf(sampler.sample(interface(milliseconds(200), 3, 30)), "host:net:receivedBytes", 3),
        20);
}

TEST(HostSamplerTest, DevicesCountEachForItself) {
    HostSampler sampler;
    sampler.sample(interface(milliseconds(0), 3, 1000));
    EXPECT_EQ(
        valueOf(sampler.sample(interface(milliseconds(100), 4, 5000)), "host:net:receivedBytes", 4),
        std::nullopt);
    EXPECT_EQ(
        valueOf(sampler.sample(interface(milliseconds(200), 4, 5001)), "host:net:receivedBytes", 4),
        1);
}

TEST(HostSamplerTest, DeviceThatWasAwayGivesItsRateOverThatTime) {
    HostSampler sampler;
    sampler.sample(interface(milliseconds(0), 3, 0));
    sampler.sample(at(milliseconds(1000)));
    EXPECT_EQ(
        valueOf(sampler.sample(interface(milliseconds(2000), 3, 1000)), "host:net:receiveRate", 3),
        500);
}

TEST(HostSamplerTest, KnownDevicesAreSampledWithoutAllocating) {
    HostSampler sampler;
    sampler.sample(everything(milliseconds(0), 0));
    sampler.sample(everything(milliseconds(1000), 5));
    const HostSnapshot third = everything(milliseconds(2000), 10);
    const std::size_t before = allocationCount();
    const auto& samples = sampler.sample(third);
    EXPECT_EQ(allocationCount(), before);
    EXPECT_EQ(samples.size(), hostObjects().size());
}

TEST(HostSamplerTest, LoadIsTheShareOfBusyTimeInHundredthsOfAPercent) {
    HostSampler sampler;
    sampler.sample(core(milliseconds(0), 2, 100, 100));
    EXPECT_EQ(valueOf(sampler.sample(core(milliseconds(100), 2, 125, 175)), "host:cpu:load", 2),
              2500);
    EXPECT_EQ(valueOf(sampler.sample(core(milliseconds(200), 2, 225, 175)), "host:cpu:load", 2),
              10000);
    EXPECT_EQ(valueOf(sampler.sample(core(milliseconds(300), 2, 225, 275)), "host:cpu:load", 2), 0);
}

TEST(HostSamplerTest, NoLoadBetweenTwoTicks) {
    HostSampler sampler;
    sampler.sample(core(milliseconds(0), 2, 100, 100));
    const auto samples = sampler.sample(core(milliseconds(1), 2, 100, 100));
    EXPECT_EQ(valueOf(samples, "host:cpu:load", 2), std::nullopt);
    EXPECT_EQ(valueOf(samples, "host:cpu:busy", 2), 0);
}

// Some kernels take waiting time back.
TEST(HostSamplerTest, NoLoadWhenTheTotalTimeFell) {
    HostSampler sampler;
    sampler.sample(core(milliseconds(0), 2, 100, 100));
    EXPECT_EQ(valueOf(sampler.sample(core(milliseconds(100), 2, 101, 90)), "host:cpu:load", 2),
              std::nullopt);
}

TEST(HostSamplerTest, LevelsAreReportedAsTheyStand) {
    HostSnapshot snapshot = at(milliseconds(0));
    snapshot.load = LoadAverage{5, 120, 13799};
    snapshot.memory["MemAvailable"] = 77;
    snapshot.ioPressure.full = Stall{1234, 0};
    snapshot.temperatures.emplace_back(4, -1500);
    snapshot.frequencies.emplace_back(1, 2400000);
    HostSampler sampler;
    const auto samples = sampler.sample(snapshot);
    EXPECT_EQ(valueOf(samples, "host:load:oneMinute"), 5);
    EXPECT_EQ(valueOf(samples, "host:load:fiveMinutes"), 120);
    EXPECT_EQ(valueOf(samples, "host:load:fifteenMinutes"), 13799);
    EXPECT_EQ(valueOf(samples, "host:memory:available"), 77);
    EXPECT_EQ(valueOf(samples, "host:memory:free"), std::nullopt);
    EXPECT_EQ(valueOf(samples, "host:pressure:ioFull"), 1234);
    EXPECT_EQ(valueOf(samples, "host:pressure:ioSome"), std::nullopt);
    EXPECT_EQ(valueOf(samples, "host:thermal:temperature", 4), -1500);
    EXPECT_EQ(valueOf(samples, "host:cpu:frequency", 1), 2400000);
}

}  // namespace
}  // namespace HostFe
