// Samples on their way to their aggregators: they wait a moment, while the memory that they will
// touch is fetched.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "sampleRoutes.hpp"

namespace Qdx::Backend {

// First in, first out. Aggregators of many series lie far apart, so the time of a sample is the
// time of the memory: what the next feeds need is asked for while the present one is done.
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
        if (pushed - fed == samples.size()) {
            feedOldest();
        }
        at(pushed++) = {feeds, value};
        fetch(feeds.data(), feeds.size_bytes());
    }

    void drain() {
        while (fed != pushed) {
            feedOldest();
        }
    }

private:
    struct Sample {
        std::span<SampleRoutes::Feed> feeds;
        T value;
    };

    static constexpr std::size_t line = 64;
    // Feeds between the one whose memory is asked for and the one that is fed.
    static constexpr std::size_t distance = 12;

    static void fetch(const void* memory, std::size_t size) {
        const auto* bytes = static_cast<const char*>(memory);
        for (std::size_t offset = 0; offset < size; offset += line) {
            __builtin_prefetch(bytes + offset, 1);
        }
    }

    Sample& at(std::size_t number) { return samples[number % samples.size()]; }

    void feedOldest() {
        auto& sample = at(fed);
        for (auto& [aggregator, params, circle] : sample.feeds) {
            while (ahead < distance && fetchNext()) {
            }
            --ahead;
            aggregator->feedCircle(params, now, sample.value, circle);
        }
        ++fed;
    }

    // False when the memory of all that is queued was asked for.
    bool fetchNext() {
        if (fetching == pushed) {
            return false;
        }
        const auto& feeds = at(fetching).feeds;
        const auto& feed = feeds[fetchingFeed];
        fetch(feed.aggregator, line);
        fetch(feed.circle.next, line);
        ++ahead;
        if (++fetchingFeed == feeds.size()) {
            ++fetching;
            fetchingFeed = 0;
        }
        return true;
    }

    time_point now;
    std::array<Sample, 8> samples;
    // Numbers of samples, from the first on; the array holds those from fed to pushed.
    std::size_t pushed = 0;
    std::size_t fed = 0;
    // The feed whose memory is asked for next, and how many were asked for and not fed yet.
    std::size_t fetching = 0;
    std::size_t fetchingFeed = 0;
    std::size_t ahead = 0;
};

}  // namespace Qdx::Backend
