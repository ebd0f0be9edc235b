// How fuzz targets make several messages of one input.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Qdx::Fuzz {

// Calls take(kind, bytes) with each piece that the input's own bytes cut it into: one byte of kind,
// two of length (big-endian), then that many bytes, or what is left of them.
template <typename Take>
void forEachPiece(const std::uint8_t* data, std::size_t size, Take take) {
    constexpr std::size_t headSize = 1 + 2;
    std::span<const std::uint8_t> rest(data, size);
    while (rest.size() >= headSize) {
        const auto kind = rest[0];
        const auto length = static_cast<std::size_t>(rest[1] << 8 | rest[2]);
        const auto bytes = rest.subspan(headSize, std::min(length, rest.size() - headSize));
        rest = rest.subspan(headSize + bytes.size());
        take(kind, bytes);
    }
}

// Repeats a system call that the fuzzer's own timer interrupts.
template <typename Call>
auto again(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Stops the run when something that must always hold does not.
inline void require(bool holds) {
    if (!holds) {
        __builtin_trap();
    }
}

}  // namespace Qdx::Fuzz
