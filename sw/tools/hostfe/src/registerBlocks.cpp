#include "registerBlocks.hpp"

#include <functional>
#include <set>
#include <utility>

namespace HostFe {
namespace {

using Qdx::Records::RegisterInfo;

// Why a block is reported, and the places of the counters that gave the cause.
struct Occasion {
    RegisterInfo::Cause cause;
    std::set<std::size_t> triggers;
};

bool isError(std::size_t number) {
    return interfaceCounterNames[number].ends_with("_errors");
}

// The error counters whose value was changed in that way; one that came or went was not changed.
template <typename Changed>
std::set<std::size_t> errorsThat(Changed changed, const InterfaceCounters& before,
                                 const InterfaceCounters& now) {
    std::set<std::size_t> errors;
    for (std::size_t number = 0; number < now.values.size(); ++number) {
        const auto& old = before.values[number];
        const auto& fresh = now.values[number];
        if (isError(number) && old && fresh && changed(*fresh, *old)) {
            errors.insert(number);
        }
    }
    return errors;
}

// What a change of the counters gives occasion to; empty if nothing does.
std::optional<Occasion> occasionOf(const InterfaceCounters& before, const InterfaceCounters& now) {
    if (auto risen = errorsThat(std::greater<>(), before, now); !risen.empty()) {
        return Occasion{RegisterInfo::FAULT, std::move(risen)};
    }
    if (auto fallen = errorsThat(std::less<>(), before, now); !fallen.empty()) {
        return Occasion{RegisterInfo::RESTART, std::move(fallen)};
    }
    return std::nullopt;
}

RegisterInfo makeBlock(const InterfaceCounters& counters, const Occasion& occasion) {
    RegisterInfo block;
    block.set_block(counters.name);
    block.set_base_address(0);
    block.set_cause(occasion.cause);
    for (std::size_t number = 0; number < counters.values.size(); ++number) {
        const auto& value = counters.values[number];
        if (!value) {
            continue;
        }
        auto* const entry = block.add_registers();
        entry->set_offset(static_cast<std::uint32_t>(number * sizeof(*value)));
        entry->set_name(std::string(interfaceCounterNames[number]));
        entry->set_value(*value);
        if (occasion.triggers.contains(number)) {
            entry->set_trigger(true);
        }
    }
    return block;
}

}  // namespace

ByDevice<RegisterInfo> RegisterBlocks::look(Pace::Clock::time_point now,
                                            const ByDevice<InterfaceCounters>& interfaces) {
    const bool isPeriodic = periodic.isDue(now);
    ByDevice<RegisterInfo> blocks;
    std::map<int, InterfaceCounters> seen;
    for (const auto& [device, counters] : interfaces) {
        const auto known = before.find(device);
        const bool isNew = known == before.end();
        auto occasion = isNew ? std::nullopt : occasionOf(known->second, counters);
        if (!occasion && (isNew || isPeriodic)) {
            occasion = Occasion{RegisterInfo::PERIODIC, {}};
        }
        if (occasion) {
            blocks.emplace_back(device, makeBlock(counters, *occasion));
        }
        seen.emplace(device, counters);
    }
    before = std::move(seen);
    return blocks;
}

}  // namespace HostFe
