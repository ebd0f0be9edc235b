// Big-endian numbers at any address, as the messages of the collector carry them.
#pragma once

#include <cstdint>

namespace Qdx::V1 {

inline std::uint32_t readBigEndian32(const unsigned char* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[3]};
}

inline std::uint64_t readBigEndian64(const unsigned char* bytes) {
    return std::uint64_t{readBigEndian32(bytes)} << 32 | readBigEndian32(bytes + 4);
}

inline void writeBigEndian32(std::uint32_t value, unsigned char* bytes) {
    for (int i = 3; i >= 0; --i) {
        bytes[i] = static_cast<unsigned char>(value);
        value >>= 8;
    }
}

inline void writeBigEndian64(std::uint64_t value, unsigned char* bytes) {
    writeBigEndian32(static_cast<std::uint32_t>(value >> 32), bytes);
    writeBigEndian32(static_cast<std::uint32_t>(value), bytes + 4);
}

}  // namespace Qdx::V1
