#include "networkInterfaces.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "procText.hpp"

namespace HostFe {
namespace {

const std::string interfaces = "sys/class/net/";

std::optional<int> indexOf(const HostFiles& files, const std::string& name) {
    const auto index = parseNumberFile(files.read(interfaces + name + "/ifindex"));
    return index && std::in_range<int>(*index) ? std::optional(static_cast<int>(*index))
                                               : std::nullopt;
}

// Drivers write "unknown" as -1 or 0; where there can be no speed, the file can't be read.
std::optional<std::uint64_t> parseSpeed(std::string_view text) {
    constexpr std::int64_t largest = std::numeric_limits<std::int32_t>::max();
    constexpr std::uint64_t mega = 1'000'000;
    const auto speed = parseNumberFile(text);
    return speed && *speed > 0 && *speed <= largest
               ? std::optional(static_cast<std::uint64_t>(*speed) * mega)
               : std::nullopt;
}

// What messages can take, whatever stands in a file or the kernel calls an interface: text of
// protobuf is UTF-8, and a record has to fit into a batch.
std::string plainText(std::string_view text) {
    constexpr std::size_t longest = 64;
    std::string plain(text.substr(0, longest));
    std::replace_if(
        plain.begin(), plain.end(), [](char byte) { return byte < ' ' || byte > '~'; }, '?');
    return plain;
}

LinkState readLink(const HostFiles& files, const std::string& name) {
    const std::string directory = interfaces + name;
    const auto carrier = parseNumberFile(files.read(directory + "/carrier"));
    return {.name = plainText(name),
            .operState = plainText(strip(files.read(directory + "/operstate"))),
            .carrier = carrier ? std::optional(*carrier != 0) : std::nullopt,
            .bitsPerSecond = parseSpeed(files.read(directory + "/speed"))};
}

InterfaceCounters readCounters(const HostFiles& files, const std::string& name) {
    InterfaceCounters counters{.name = plainText(name), .values = {}};
    const std::string directory = interfaces + name + "/statistics/";
    for (std::size_t number = 0; number < interfaceCounterNames.size(); ++number) {
        counters.values[number] =
            parseCountFile(files.read(directory + std::string(interfaceCounterNames[number])));
    }
    return counters;
}

bool tellsSomething(const InterfaceCounters& counters) {
    return std::any_of(counters.values.begin(), counters.values.end(),
                       [](const auto& value) { return value.has_value(); });
}

}  // namespace

ByDevice<LinkState> readLinks(const HostFiles& files) {
    ByDevice<LinkState> links;
    for (const std::string& name : files.list(interfaces)) {
        const auto index = indexOf(files, name);
        LinkState link = readLink(files, name);
        if (index && !link.operState.empty()) {
            links.emplace_back(*index, std::move(link));
        }
    }
    return links;
}

ByDevice<InterfaceCounters> readInterfaceCounters(const HostFiles& files) {
    ByDevice<InterfaceCounters> all;
    for (const std::string& name : files.list(interfaces)) {
        const auto index = indexOf(files, name);
        auto counters = readCounters(files, name);
        if (index && tellsSomething(counters)) {
            all.emplace_back(*index, std::move(counters));
        }
    }
    return all;
}

}  // namespace HostFe
