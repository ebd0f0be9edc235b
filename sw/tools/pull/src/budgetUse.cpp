#include "pull/budgetUse.hpp"

#include <bit>
#include <string_view>

#include "collectionParts.hpp"

namespace Qdx::Pull {

namespace {

// A value in a history: its time and its number, or its time and where the record's bytes are.
constexpr std::uint64_t numberBytes = 16;
constexpr std::uint64_t recordBytes = 40;

// The structures of one series, with its share of what belongs to its object and context.
std::uint64_t structureBytes(const Aggregation& aggregation) {
    const std::string_view method = aggregation.method;
    const bool isDuration = aggregation.scope == std::string_view("duration");
    if (method == "list") {
        return isDuration ? 162 : 154;
    }
    if (method == "average" && isDuration) {
        return 186;
    }
    return isDuration ? 178 : 170;
}

// Histories grow by doubling; a list of seconds gives its spare room back before each sample, and
// doubles with it.
std::uint64_t roomOf(const Aggregation& aggregation, std::uint64_t values) {
    const bool shrinks = aggregation.method == std::string_view("list") &&
                         aggregation.scope == std::string_view("duration");
    return shrinks ? 2 * values : std::bit_ceil(values);
}

template <typename Collection>
std::uint64_t valueBytes(const Collection& /*collection*/, std::uint64_t room) {
    return room * numberBytes;
}

std::uint64_t valueBytes(const Qdx::RecordCollection& collection, std::uint64_t room) {
    auto bytes = room * recordBytes;
    for (const auto& record : collection.values()) {
        bytes += record.size();
    }
    return bytes;
}

}  // namespace

std::uint64_t budgetUseOf(const Qdx::InfoObjectCollections& message) {
    std::uint64_t bytes = 0;
    forEachCollection(message, [&bytes](const auto& collection) {
        const auto aggregation = aggregationOf(collection);
        const auto values = static_cast<std::uint64_t>(collection.values_size());
        if (aggregation && values > 0) {
            bytes +=
                structureBytes(*aggregation) + valueBytes(collection, roomOf(*aggregation, values));
        }
    });
    return bytes;
}

}  // namespace Qdx::Pull
