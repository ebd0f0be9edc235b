// Random numbers that are the same everywhere for the same seed.
#pragma once

#include <cstdint>

namespace QdxLoad {

// SplitMix64. One thread.
class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}

    std::uint64_t next() {
        state += 0x9E37'79B9'7F4A'7C15;
        std::uint64_t z = state;
        z = (z ^ (z >> 30)) * 0xBF58'476D'1CE4'E5B9;
        z = (z ^ (z >> 27)) * 0x94D0'49BB'1331'11EB;
        return z ^ (z >> 31);
    }

private:
    std::uint64_t state;
};

}  // namespace QdxLoad
