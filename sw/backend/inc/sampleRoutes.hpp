// The short way of samples whose like came before: from the text of a key straight to the
// aggregators.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "aggregator.hpp"
#include "infoObject.hpp"

namespace Qdx::Backend {

// Remembers what all filters together decided about the keys that frontends send. The filters stay
// the owners of everything: the routes can be cleared at any time, and come back with the next
// samples.
//
// Whoever changes what a filter would decide, or drops aggregators, clears first. Whoever looks at
// aggregators by another way straightens first, since full histories that are fed from here are
// circles.
//
// Bounded: a key that would take the whole past the limit isn't added, and goes the long way. One
// thread.
class SampleRoutes {
public:
    // One aggregator that takes the samples of a key, with what it was asked to do.
    struct Feed {
        Aggregator* aggregator;
        AggregatorParamsVariant params;
        Circle circle;
    };

    // Where the samples of a key go.
    struct Route {
        std::uint32_t hash;
        std::uint32_t keyOffset;
        std::uint32_t keySize;  // 0 in a free place of the table
        InfoObjectType type;
        std::uint32_t firstFeed;
        std::uint32_t feedCount;
    };

    // Keeps at most byteLimit bytes; 0 keeps nothing.
    explicit SampleRoutes(std::size_t byteLimit = 0);

    std::uint32_t hashOf(std::string_view key) const;

    // Asks for the memory that find() will read first.
    void fetch(std::uint32_t hash) const { __builtin_prefetch(&table[hash & mask]); }

    // Null when the key has no route. Valid until the next add() or clear().
    const Route* find(std::string_view key, std::uint32_t hash) const {
        for (auto place = hash & mask; table[place].keySize != 0; place = (place + 1) & mask) {
            if (table[place].hash == hash && keyOf(table[place]) == key) {
                return &table[place];
            }
        }
        return nullptr;
    }

    // The feeds of all filters, in order; none if nothing captures the key. To be fed as circles.
    std::span<Feed> feedsOf(const Route& route) {
        inOrder = false;
        return {feeds.data() + route.firstFeed, route.feedCount};
    }

    // Whether it is worth while to find a new key's feeds.
    bool hasRoom() const { return hasRoomFor(1, 0); }
    // Gives a key its route, unless that has no room. REQUIRES: the key has none.
    void add(std::string_view key, InfoObjectType type, std::span<const Feed> keyFeeds);

    // Puts all histories in order.
    void straighten() noexcept;
    // Does that, and forgets all routes.
    void clear() noexcept;
    // Does that, and takes no more.
    void giveUp() noexcept;

private:
    std::string_view keyOf(const Route& route) const {
        return {keys.data() + route.keyOffset, route.keySize};
    }
    bool hasRoomFor(std::size_t keySize, std::size_t feedCount) const;
    void growTable();
    void place(const Route& route);

    std::size_t limit;
    // Frontends must not be able to choose keys that meet in one place.
    std::uint64_t seed;
    // Open addressing with linear probing, at most half full; the size is a power of two.
    std::vector<Route> table;
    std::uint32_t mask = 0;
    std::size_t count = 0;
    std::vector<char> keys;
    std::vector<Feed> feeds;
    bool inOrder = true;
};

}  // namespace Qdx::Backend
