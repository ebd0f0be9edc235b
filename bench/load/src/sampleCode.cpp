#include "sampleCode.hpp"

#include <algorithm>
#include <array>
#include <cstring>

#include "plan.hpp"
#include "random.hpp"

namespace QdxLoad {
namespace {

constexpr std::size_t wordSize = sizeof(std::uint64_t);
static_assert(smallestRecord == wordSize + wordSize);
static_assert(mostSeries < (std::uint64_t{1} << seriesBits));
static_assert(seriesBits + sequenceBits == 63);

void store(std::span<unsigned char> place, std::uint64_t word) {
    std::memcpy(place.data(), &word, std::min(place.size(), wordSize));
}

std::uint64_t load(std::span<const unsigned char> place) {
    std::uint64_t word = 0;
    std::memcpy(&word, place.data(), wordSize);
    return word;
}

// FNV-1a.
std::uint64_t checksum(std::span<const unsigned char> bytes) {
    std::uint64_t sum = 0xCBF2'9CE4'8422'2325;
    for (const unsigned char byte : bytes) {
        sum = (sum ^ byte) * 0x0000'0100'0000'01B3;
    }
    return sum;
}

}  // namespace

std::int64_t encode(const Code& code) {
    return static_cast<std::int64_t>(((code.series + 1) << sequenceBits) | code.sequence);
}

std::optional<Code> decode(std::int64_t value) {
    if (value < 0 || (value >> sequenceBits) == 0) {
        return std::nullopt;
    }
    const auto bits = static_cast<std::uint64_t>(value);
    return Code{.series = (bits >> sequenceBits) - 1, .sequence = bits & (longestSequence - 1)};
}

void writeRecord(std::span<unsigned char> record, const Code& code, std::uint64_t seed) {
    const auto value = static_cast<std::uint64_t>(encode(code));
    Random random(seed ^ value);
    store(record, value);
    const auto body = record.first(record.size() - wordSize);
    for (auto rest = body.subspan(wordSize); !rest.empty();
         rest = rest.subspan(std::min(rest.size(), wordSize))) {
        store(rest, random.next());
    }
    store(record.last(wordSize), checksum(body));
}

std::optional<std::int64_t> readRecord(std::span<const unsigned char> record) {
    if (record.size() < smallestRecord ||
        checksum(record.first(record.size() - wordSize)) != load(record.last(wordSize))) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(load(record));
}

}  // namespace QdxLoad
