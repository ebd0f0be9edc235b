#include "linkWatch.hpp"

#include <string>
#include <utility>

namespace HostFe {
namespace {

using Qdx::Records::CarrierEvent;

std::string stateOf(const LinkState& link) {
    return link.carrier == false ? "no carrier" : "operstate " + link.operState;
}

std::string speedText(const std::optional<std::uint64_t>& bitsPerSecond) {
    constexpr std::uint64_t mega = 1'000'000;
    return bitsPerSecond ? std::to_string(*bitsPerSecond / mega) : "unknown";
}

// A link has a bandwidth only while it is up.
CarrierEvent makeEvent(CarrierEvent::Kind kind, int device, const LinkState& link,
                       const std::string& reason) {
    CarrierEvent event;
    event.set_carrier_id(static_cast<std::uint32_t>(device));
    event.set_carrier_name(link.name);
    event.set_kind(kind);
    event.set_reason(reason);
    if (link.bitsPerSecond && link.isUp() && kind != CarrierEvent::RELEASED) {
        event.set_bandwidth_bps(*link.bitsPerSecond);
    }
    return event;
}

CarrierEvent::Kind kindOfDown(const LinkState& link) {
    return link.carrier == false ? CarrierEvent::FAILED : CarrierEvent::DEACTIVATED;
}

// What became of a link that was there before.
std::optional<CarrierEvent> compare(int device, const LinkState& before, const LinkState& now) {
    if (!before.isUp() && now.isUp()) {
        return makeEvent(CarrierEvent::ACTIVATED, device, now, stateOf(now));
    }
    if (before.isUp() && !now.isUp()) {
        return makeEvent(kindOfDown(now), device, now, stateOf(now));
    }
    if (now.isUp() && now.bitsPerSecond != before.bitsPerSecond) {
        return makeEvent(CarrierEvent::RECONFIGURED, device, now,
                         "speed " + speedText(before.bitsPerSecond) + " to " +
                             speedText(now.bitsPerSecond) + " Mbit/s");
    }
    return std::nullopt;
}

// The link with the speed that it had before, if it tells none now and stayed up.
LinkState withKnownSpeed(LinkState link, const LinkState& before) {
    if (!link.bitsPerSecond && link.isUp() && before.isUp()) {
        link.bitsPerSecond = before.bitsPerSecond;
    }
    return link;
}

}  // namespace

ByDevice<CarrierEvent> LinkWatch::look(const ByDevice<LinkState>& links) {
    Events events;
    std::map<int, LinkState> seen;
    for (const auto& [device, link] : links) {
        const auto known = before.find(device);
        if (known == before.end()) {
            greet(device, link, events);
            seen.emplace(device, link);
            continue;
        }
        const LinkState now = withKnownSpeed(link, known->second);
        if (auto event = compare(device, known->second, now)) {
            events.emplace_back(device, std::move(*event));
        }
        seen.emplace(device, now);
    }
    releaseAllBut(seen, events);
    before = std::move(seen);
    isFirst = false;
    return events;
}

void LinkWatch::greet(int device, const LinkState& link, Events& events) const {
    if (isFirst) {
        events.emplace_back(
            device, link.isUp() ? makeEvent(CarrierEvent::ACTIVATED, device, link, "seen first")
                                : makeEvent(CarrierEvent::DEACTIVATED, device, link,
                                            "seen first, " + stateOf(link)));
        return;
    }
    events.emplace_back(device, makeEvent(CarrierEvent::SETUP, device, link, "appeared"));
    if (link.isUp()) {
        events.emplace_back(device,
                            makeEvent(CarrierEvent::ACTIVATED, device, link, stateOf(link)));
    }
}

void LinkWatch::releaseAllBut(const std::map<int, LinkState>& links, Events& events) const {
    for (const auto& [device, link] : before) {
        if (!links.contains(device)) {
            events.emplace_back(device,
                                makeEvent(CarrierEvent::RELEASED, device, link, "disappeared"));
        }
    }
}

}  // namespace HostFe
