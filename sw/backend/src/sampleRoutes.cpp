#include "sampleRoutes.hpp"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <limits>
#include <new>
#include <random>

namespace Qdx::Backend {

namespace {

constexpr std::size_t smallestTable = 64;

// Vectors that double hold up to twice what is in them.
constexpr std::size_t spare = 2;

// A machine without a source of randomness does without.
std::uint64_t randomSeed() {
    try {
        std::random_device device;
        return std::uint64_t{device()} << 32 | device();
    } catch (const std::exception&) {
        return static_cast<std::uint64_t>(
            std::chrono::steady_clock::now().time_since_epoch().count());
    }
}

// Both halves of a product of 128 bits, mixed.
std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
    __extension__ using Wide = unsigned __int128;
    const auto product = Wide{a} * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

std::uint64_t word(const char* bytes) {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes, sizeof(value));
    return value;
}

// Fewer bytes than a word.
std::uint64_t shortWord(const char* bytes, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value = value << 8 | static_cast<unsigned char>(bytes[i]);
    }
    return value;
}

}  // namespace

SampleRoutes::SampleRoutes(std::size_t byteLimit)
    : limit(byteLimit), seed(randomSeed()), table(1) {}

// Two words at a time; the last two overlap those before.
std::uint32_t SampleRoutes::hashOf(std::string_view key) const {
    constexpr std::uint64_t odd = 0x9E37'79B9'7F4A'7C15;
    constexpr std::size_t wordSize = sizeof(std::uint64_t);
    const auto size = key.size();
    const auto* bytes = key.data();
    auto state = seed ^ size;
    if (size < wordSize) {
        return static_cast<std::uint32_t>(mix(state ^ shortWord(bytes, size), odd));
    }
    for (std::size_t i = 0; i + 2 * wordSize < size; i += 2 * wordSize) {
        state = mix(state ^ word(bytes + i), odd ^ word(bytes + i + wordSize));
    }
    const auto last = size < 2 * wordSize ? 0 : size - 2 * wordSize;
    return static_cast<std::uint32_t>(
        mix(state ^ word(bytes + last), odd ^ word(bytes + size - wordSize)));
}

void SampleRoutes::add(std::string_view key, InfoObjectType type, std::span<const Feed> keyFeeds) {
    if (key.empty() || !hasRoomFor(key.size(), keyFeeds.size())) {
        return;
    }
    try {
        if (2 * (count + 1) > table.size()) {
            growTable();
        }
        const auto keyOffset = keys.size();
        const auto firstFeed = feeds.size();
        keys.insert(keys.end(), key.begin(), key.end());
        feeds.insert(feeds.end(), keyFeeds.begin(), keyFeeds.end());
        place({hashOf(key), static_cast<std::uint32_t>(keyOffset),
               static_cast<std::uint32_t>(key.size()), type, static_cast<std::uint32_t>(firstFeed),
               static_cast<std::uint32_t>(keyFeeds.size())});
        ++count;
    } catch (const std::bad_alloc&) {
        return;
    }
}

bool SampleRoutes::hasRoomFor(std::size_t keySize, std::size_t feedCount) const {
    const auto tableBytes = 2 * spare * (count + 1) * sizeof(Route);
    const auto keyBytes = spare * (keys.size() + keySize);
    const auto feedBytes = spare * (feeds.size() + feedCount) * sizeof(Feed);
    return tableBytes + keyBytes + feedBytes <= limit &&
           keyBytes <= std::numeric_limits<std::uint32_t>::max();
}

void SampleRoutes::growTable() {
    const auto size = std::max(smallestTable, 2 * table.size());
    std::vector<Route> old(size);
    old.swap(table);
    mask = static_cast<std::uint32_t>(size - 1);
    for (const auto& route : old) {
        if (route.keySize != 0) {
            place(route);
        }
    }
}

void SampleRoutes::place(const Route& route) {
    auto index = route.hash & mask;
    while (table[index].keySize != 0) {
        index = (index + 1) & mask;
    }
    table[index] = route;
}

void SampleRoutes::straighten() noexcept {
    if (inOrder) {
        return;
    }
    for (auto& feed : feeds) {
        if (feed.circle.oldest != 0) {
            feed.aggregator->straighten(feed.circle);
        }
    }
    inOrder = true;
}

void SampleRoutes::clear() noexcept {
    straighten();
    std::fill(table.begin(), table.end(), Route{});
    count = 0;
    keys.clear();
    feeds.clear();
}

void SampleRoutes::giveUp() noexcept {
    clear();
    limit = 0;
}

}  // namespace Qdx::Backend
