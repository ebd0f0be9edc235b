// What all aggregators do with the samples or results that they keep: add one, hand them out, drop
// them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <utility>

#include "listAggregators.hpp"
#include "outputEncoderIf.hpp"

namespace Qdx::Backend {

// Appends; when memory is refused, the oldest gives way, so that the history moves forward at the
// length that memory allows. An empty history then stays empty, and the new sample is lost.
template <typename T>
void append(Samples<T>& samples, time_point time, const T& value) {
    try {
        samples.emplace_back(time, value);
    } catch (const std::bad_alloc&) {
        if (!samples.empty())
            ListAggregatorHelper::replaceFirst(samples, time, value);
    }
}

// Appends up to a length of limit, and then replaces the oldest. A history that is already past the
// limit grows on. Throws std::out_of_range for an empty history with a limit of 0.
template <typename T>
void appendResult(Samples<T>& results, std::uint32_t limit, time_point time, const T& result) {
    if (results.size() == limit)
        ListAggregatorHelper::replaceFirst(results, time, result);
    else
        append(results, time, result);
}

// Puts a circle in order, oldest first.
template <typename T>
void straightenHistory(Samples<T>& samples, Circle& circle) noexcept {
    std::rotate(samples.begin(), samples.begin() + circle.oldest, samples.end());
    circle = {};
}

// Throws std::out_of_range for an empty history.
template <typename T>
void overwriteOldest(Samples<T>& samples, time_point time, const T& value, Circle& circle) {
    samples.at(circle.oldest) = {time, value};
    circle.oldest = circle.oldest + 1 == samples.size() ? 0 : circle.oldest + 1;
    circle.next = &samples[circle.oldest];
}

// appendResult for a history that may be a circle: nothing moves when it is full.
template <typename T>
void appendToCircle(Samples<T>& results, std::uint32_t limit, time_point time, const T& result,
                    Circle& circle) {
    if (results.size() == limit) {
        overwriteOldest(results, time, result, circle);
        return;
    }
    straightenHistory(results, circle);
    try {
        results.emplace_back(time, result);
    } catch (const std::bad_alloc&) {
        if (!results.empty())
            overwriteOldest(results, time, result, circle);
    }
}

// feedValue of an aggregator that knows circles.
template <typename A, typename T>
void feedInOrder(A& aggregator, const AggregatorParamsVariant& params, time_point now,
                 const T& value) {
    Circle circle;
    aggregator.feedCircle(params, now, value, circle);
    aggregator.straighten(circle);
}

// Drops everything and gives the memory back.
template <typename T>
void dropAll(Samples<T>& samples) {
    samples.clear();
    samples.shrink_to_fit();
}

// The collection that the samples make in the encoder; null if there are none, or if the encoder
// wants none.
template <typename T>
auto addCollection(const Samples<T>& samples, const std::pair<InfoObjectId, std::string>& key,
                   OutputEncoderIf* encoder) {
    return samples.empty() ? nullptr : encoder->addCollection(samples, key);
}

// Says of a collection which samples each of its values stands for.
template <typename Message>
void setScope(Message* aggr, Qdx::AggrSubType subtype, std::uint32_t size) {
    aggr->set_subtype(subtype);
    aggr->set_size(size);
}

}  // namespace Qdx::Backend
