// Walks the items of a batch that this process wrote: its lengths are true.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "bigEndian.hpp"
#include "wireFormat.hpp"

namespace Qdx::Frontend {

// Calls visit(key bytes, payload) for each item of a section, and gives their number.
template <typename Visit>
std::uint64_t forEachItem(std::span<const unsigned char> section, const Visit& visit) {
    std::uint64_t items = 0;
    for (; !section.empty(); ++items) {
        const auto* const text = reinterpret_cast<const char*>(section.data());
        const std::string_view key(text, std::strlen(text) + 1);
        const std::size_t payloadSize = V1::readBigEndian32(&section[key.size()]);
        visit(key, section.subspan(key.size() + 4, payloadSize));
        section = section.subspan(key.size() + 4 + payloadSize);
    }
    return items;
}

// The sections of a batch.
struct Sections {
    std::span<const unsigned char> measurements;
    std::span<const unsigned char> counters;
    std::span<const unsigned char> records;
};

inline Sections sectionsOf(std::span<const unsigned char> message) {
    const std::size_t measurementBytes = V1::readBigEndian32(&message[V1::measurementBytesOffset]);
    const std::size_t counterBytes = V1::readBigEndian32(&message[V1::counterBytesOffset]);
    const auto items = message.subspan(V1::beProcessBatchesFixedSize);
    return {.measurements = items.first(measurementBytes),
            .counters = items.subspan(measurementBytes, counterBytes),
            .records = items.subspan(measurementBytes + counterBytes)};
}

}  // namespace Qdx::Frontend
