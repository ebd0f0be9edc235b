// Which samples a machine gives, and what they are worth.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "hostReader.hpp"

namespace HostFe {

enum class SampleKind { Measurement, Counter };

// An info object that can be reported.
struct HostObject {
    std::string_view name;
    SampleKind kind = SampleKind::Measurement;
};

// One value to report.
struct Sample {
    HostObject object;
    std::optional<int> device;  // which core, interface, disk or zone; empty for the whole machine
    std::int64_t value = 0;
};

// Turns snapshots into samples. A counter's sample is its increment since the snapshot before, a
// rate is that increment per second; so the first snapshot gives neither. A count that fell began
// anew, and its first increment is unknown as well. One thread.
class HostSampler {
public:
    // Valid until the next call. Allocates nothing while no device appears.
    const std::vector<Sample>& sample(const HostSnapshot& snapshot);

private:
    struct Standing {
        std::int64_t count = 0;
        Clock::time_point time;
    };
    struct Increment {
        std::int64_t count = 0;
        Clock::duration time;
    };

    template <typename Source, typename Rows>
    void emitRows(const Rows& rows, std::optional<int> device, const Source& source);
    template <typename Source, typename Rows>
    void emitDevices(const Rows& rows, const ByDevice<Source>& devices);
    void emitLoad(const CpuTimes& times);
    void emitRate(std::string_view name, std::optional<int> device, std::int64_t count);
    void emitCount(std::string_view name, std::optional<int> device, std::int64_t count);
    void emitLevel(std::string_view name, std::optional<int> device, std::int64_t value);
    std::optional<Increment> advance(std::string_view name, std::optional<int> device,
                                     std::int64_t count);

    // Of the last call.
    Clock::time_point now;
    std::vector<Sample> samples;

    std::map<std::pair<std::string_view, std::optional<int>>, Standing> standings;
};

// Every object that samples can be of.
std::vector<HostObject> hostObjects();

}  // namespace HostFe
