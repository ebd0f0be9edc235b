// What the kernel tells about network interfaces: the state of their links, and their counters.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "byDevice.hpp"
#include "hostFiles.hpp"

namespace HostFe {

struct LinkState {
    std::string name;
    std::string operState;        // the kernel's word: up, down, lowerlayerdown, dormant, ...
    std::optional<bool> carrier;  // empty while the interface is switched off
    std::optional<std::uint64_t> bitsPerSecond;  // empty where the driver knows none

    // Interfaces that don't watch their link, such as lo, are "unknown" for ever.
    bool isUp() const { return operState == "up" || (operState == "unknown" && carrier == true); }
};

// The files of an interface's statistics, in an order that never changes: new ones come at the end.
inline constexpr std::array<std::string_view, 24> interfaceCounterNames{
    "rx_packets",        "tx_packets",        "rx_bytes",         "tx_bytes",
    "rx_errors",         "tx_errors",         "rx_dropped",       "tx_dropped",
    "multicast",         "collisions",        "rx_length_errors", "rx_over_errors",
    "rx_crc_errors",     "rx_frame_errors",   "rx_fifo_errors",   "rx_missed_errors",
    "tx_aborted_errors", "tx_carrier_errors", "tx_fifo_errors",   "tx_heartbeat_errors",
    "tx_window_errors",  "rx_compressed",     "tx_compressed",    "rx_nohandler",
};

struct InterfaceCounters {
    std::string name;  // of the interface
    // One for each name, since the interface was made; empty where this kernel has none.
    std::array<std::optional<std::uint64_t>, interfaceCounterNames.size()> values;
};

// Both by the kernel's index of the interface. One that tells no index, or no state or none of the
// counters, is not there, or not any more.
ByDevice<LinkState> readLinks(const HostFiles& files);
ByDevice<InterfaceCounters> readInterfaceCounters(const HostFiles& files);

}  // namespace HostFe
