// Samples on their way to their aggregators: they wait a moment, while the memory that they will
// touch is fetched.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "sampleRoutes.hpp"

namespace Qdx::Backend {

// First in, first out. Aggregators of many series lie far apart, so the time of a sample is the
// time of the memory: what the samples behind need is asked for while the oldest is fed.
//
// The feeds must stay where they are until drain(). An exception of a feed leaves the queue
// useless.
template <typename T>
class FeedQueue {
public:
    explicit FeedQueue(time_point samplesTime) : now(samplesTime) {}

    void push(std::span<SampleRoutes::Feed> feeds, const T& value) {
        if (feeds.empty()) {
            return;
        }
        at(pushed++) = {feeds, value};
        fetch(feeds.data(), feeds.size_bytes());
        if (pushed - fetched > feedsOnTheirWay) {
            fetchAggregators(at(fetched++));
        }
        if (pushed - fed > allOnTheirWay) {
            feed(at(fed++));
        }
    }

    void drain() {
        while (fed != pushed) {
            feed(at(fed++));
        }
        fetched = pushed;
    }

private:
    struct Sample {
        std::span<SampleRoutes::Feed> feeds;
        T value{};
    };

    // Samples whose feeds are being fetched, and with them those whose aggregators are.
    static constexpr unsigned feedsOnTheirWay = 2;
    static constexpr unsigned allOnTheirWay = 5;
    static constexpr unsigned capacity = 8;
    static constexpr std::size_t line = 64;

    static void fetch(const void* memory, std::size_t size) {
        const auto* bytes = static_cast<const char*>(memory);
        for (std::size_t offset = 0; offset < size; offset += line) {
            __builtin_prefetch(bytes + offset, 1);
        }
    }

    static void fetchAggregators(const Sample& sample) {
        for (const auto& feed : sample.feeds) {
            fetch(feed.aggregator, line);
            fetch(feed.circle.next, line);
        }
    }

    void feed(const Sample& sample) const {
        for (auto& [aggregator, params, circle] : sample.feeds) {
            aggregator->feedCircle(params, now, sample.value, circle);
        }
    }

    Sample& at(unsigned number) { return samples[number % capacity]; }

    time_point now;
    std::array<Sample, capacity> samples;
    // Numbers of samples, from the first on. They may wrap: only their differences count.
    unsigned pushed = 0;
    unsigned fetched = 0;
    unsigned fed = 0;
};

}  // namespace Qdx::Backend
