// The items of a batch message, cut as a hand-written collector would.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "bigEndian.hpp"
#include "frontendMessages.hpp"
#include "wireFormat.hpp"

namespace Qdx::Bench {

// Calls visit with key text and value of each measurement and counter. Stops where a length would
// run past the end.
template <typename Visit>
void forEachItem(const ozo_msg* message, Visit visit) {
    const auto bytes = V1::bytesOf(message);
    if (bytes.size() < V1::beProcessBatchesFixedSize) {
        return;
    }
    const auto* item = bytes.data() + V1::beProcessBatchesFixedSize;
    const auto* end = bytes.data() + bytes.size();
    constexpr std::ptrdiff_t sizeAndValue = 4 + 8;
    while (item < end) {
        const auto* nul = static_cast<const unsigned char*>(
            std::memchr(item, '\0', static_cast<std::size_t>(end - item)));
        if (nul == nullptr || end - (nul + 1) < sizeAndValue || V1::readBigEndian32(nul + 1) != 8) {
            return;
        }
        const std::string_view key(reinterpret_cast<const char*>(item),
                                   static_cast<std::size_t>(nul - item));
        visit(key, static_cast<std::int64_t>(V1::readBigEndian64(nul + 5)));
        item = nul + 1 + sizeAndValue;
    }
}

}  // namespace Qdx::Bench
