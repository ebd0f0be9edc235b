// Samples that tell whose they are and which one of them, so that what is pulled can be checked.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace QdxLoad {

// Carried by every value:
//
//     63  62       40 39        0
//     | 0 | series+1 | sequence |
//
// Never 0 and never negative, so that neither an empty value nor a sum that ran over passes for
// one.
struct Code {
    std::uint64_t series;    // its number in the plan
    std::uint64_t sequence;  // counts the samples of the series from 0
    friend bool operator==(const Code&, const Code&) = default;
};

inline constexpr int sequenceBits = 40;
inline constexpr int seriesBits = 23;
inline constexpr std::uint64_t longestSequence = std::uint64_t{1} << sequenceBits;

// REQUIRES: both numbers fit their bits.
std::int64_t encode(const Code& code);
// Empty for what encode() can't have given.
std::optional<Code> decode(std::int64_t value);

// Fills a record: 8 bytes of code, bytes by the seed and the code, 8 bytes of checksum over all
// before. REQUIRES: smallestRecord bytes at least.
void writeRecord(std::span<unsigned char> record, const Code& code, std::uint64_t seed);
// The record's code, as encode() gives it; empty if a byte of it is not as it was written.
std::optional<std::int64_t> readRecord(std::span<const unsigned char> record);

}  // namespace QdxLoad
