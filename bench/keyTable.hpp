// A hash table from key texts to consecutive numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace Qdx::Bench {

// Open addressing with linear probing, at most half full; the hash beside the text decides nearly
// every comparison. A look-up of a known key reads one slot and the key's text.
class KeyTable {
public:
    KeyTable() : slots(initialSlots) {}

    // The number of the key; a new key gets the next one.
    std::uint32_t numberOf(std::string_view key) {
        const auto hash = hashOf(key);
        auto& slot = find(slots, hash, key);
        return slot.key.data() != nullptr ? slot.number : add(hash, key);
    }
    std::size_t size() const { return keys.size(); }

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t number = 0;
        std::string_view key;  // without data: free
    };
    using Slots = std::vector<Slot>;
    static constexpr std::size_t initialSlots = 64;  // a power of two

    static Slot& find(Slots& slots, std::uint32_t hash, std::string_view key) {
        const auto mask = slots.size() - 1;
        auto at = hash & mask;
        while (slots[at].key.data() != nullptr &&
               (slots[at].hash != hash || slots[at].key != key)) {
            at = (at + 1) & mask;
        }
        return slots[at];
    }

    std::uint32_t add(std::uint32_t hash, std::string_view key) {
        if (2 * (size() + 1) > slots.size()) {
            grow();
        }
        const auto number = static_cast<std::uint32_t>(size());
        find(slots, hash, key) = {hash, number, keys.emplace_back(key)};
        return number;
    }

    void grow() {
        Slots larger(2 * slots.size());
        for (const auto& slot : slots) {
            if (slot.key.data() != nullptr) {
                find(larger, slot.hash, slot.key) = slot;
            }
        }
        slots.swap(larger);
    }

    static std::uint64_t read(const char* text) {
        std::uint64_t word = 0;
        std::memcpy(&word, text, sizeof word);
        return word;
    }

    // Both halves of the 128-bit product, folded.
    static std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
        __extension__ using Wide = unsigned __int128;
        const Wide product = Wide{a} * b;
        return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
    }

    // Sixteen bytes at a time; the last sixteen may overlap those before.
    static std::uint32_t hashOf(std::string_view key) {
        constexpr std::uint64_t odd1 = 0xa0761d6478bd642f;
        constexpr std::uint64_t odd2 = 0xe7037ed1a0b428db;
        const auto* text = key.data();
        auto left = key.size();
        std::uint64_t hash = odd1 ^ left;
        for (; left > 16; left -= 16, text += 16) {
            hash = mix(read(text) ^ odd2, read(text + 8) ^ hash);
        }
        char last[16] = {};
        if (key.size() >= sizeof last) {
            std::memcpy(last, text + left - sizeof last, sizeof last);
        } else {
            std::memcpy(last, text, left);
        }
        hash = mix(read(last) ^ odd2, read(last + 8) ^ hash);
        return static_cast<std::uint32_t>(hash ^ hash >> 32);
    }

    Slots slots;
    std::deque<std::string> keys;  // never move
};

}  // namespace Qdx::Bench
