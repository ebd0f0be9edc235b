#include "listAggregators.hpp"

#include <algorithm>
#include <cstddef>
#include <new>
#include <type_traits>

#include "history.hpp"
#include "wrapping.hpp"

namespace Qdx::Backend {

namespace {

template <typename T>
void moveFirstToEnd(Samples<T>& samples) {
    std::rotate(samples.begin(), samples.begin() + 1, samples.end());
}

template <typename T>
void overwriteFirst(Samples<T>& samples, time_point now, const T& value) {
    samples.at(0) = {now, value};
    moveFirstToEnd(samples);
}

// The element keeps its allocator, and gives back what a larger record held.
void storeFirst(Samples<RecordData>& samples, time_point now, const RecordData& value) {
    auto& first = samples.at(0);
    first.second = value;
    first.second.shrink_to_fit();
    first.first = now;
}

// Drops all other records, the buffer's room for them included, before it stores the new one.
void storeAlone(Samples<RecordData>& samples, time_point now, const RecordData& value) {
    samples.resize(1);
    samples.shrink_to_fit();
    storeFirst(samples, now, value);
}

// In front of the new record, the newest first, without the oldest, as many as fit.
void takeBack(Samples<RecordData>& samples, const Samples<RecordData>& old) {
    try {
        for (std::size_t n = old.size() - 1; n >= 1; --n)
            samples.insert(samples.begin(), old[n]);
    } catch (const std::bad_alloc&) {
        // The rest is older than what was taken back: it gives way.
    }
}

}  // namespace

void ListAggregatorHelper::replaceFirst(Samples<Qdx::V1::MeasurementData>& samples, time_point now,
                                        const Qdx::V1::MeasurementData& value) {
    overwriteFirst(samples, now, value);
}

void ListAggregatorHelper::replaceFirst(Samples<Qdx::V1::CounterData>& samples, time_point now,
                                        const Qdx::V1::CounterData& value) {
    overwriteFirst(samples, now, value);
}

void ListAggregatorHelper::replaceFirst(Samples<RecordData>& samples, time_point now,
                                        const RecordData& value) {
    try {
        storeFirst(samples, now, value);
        moveFirstToEnd(samples);
        return;
    } catch (const std::bad_alloc&) {
        // Too large for the room that the oldest leaves: make more.
    }
    const Samples<RecordData> old(samples, std::pmr::get_default_resource());
    try {
        storeAlone(samples, now, value);
    } catch (const std::bad_alloc&) {
        samples = old;
        return;
    }
    takeBack(samples, old);
}

template <typename T>
CountListAggregator<T>::CountListAggregator(const AggregatorParamsVariant& /*params*/,
                                            time_point now, const T& value,
                                            const std::pmr::polymorphic_allocator<>& content,
                                            const std::pmr::polymorphic_allocator<>& /*main*/)
    : samples(content) {
    samples.emplace_back(now, value);
}

template <typename T>
int CountListAggregator<T>::getGpbAggrType() const {
    return 4;
}

template <typename T>
void CountListAggregator<T>::feedValue(const AggregatorParamsVariant& params, time_point now,
                                       const T& value) {
    feedInOrder(*this, params, now, value);
}

template <typename T>
void CountListAggregator<T>::feedCircle(const AggregatorParamsVariant& params, time_point now,
                                        const T& value, Circle& circle) {
    const auto size = std::get<AggregatorParams::CountList>(params).size;
    if constexpr (std::is_same_v<T, RecordData>)
        appendResult(samples, size, now, value);
    else
        appendToCircle(samples, size, now, value, circle);
}

template <typename T>
void CountListAggregator<T>::straighten(Circle& circle) noexcept {
    straightenHistory(samples, circle);
}

template <typename T>
void CountListAggregator<T>::pullData(const AggregatorParamsVariant& params, time_point /*now*/,
                                      const std::pair<InfoObjectId, std::string>& key,
                                      OutputEncoderIf* encoder) {
    if (auto* collection = addCollection(samples, key, encoder))
        setScope(collection->mutable_list(), Qdx::COUNT,
                 std::get<AggregatorParams::CountList>(params).size);
}

template <typename T>
void CountListAggregator<T>::clearData(const AggregatorParamsVariant& /*params*/,
                                       time_point /*now*/) {
    dropAll(samples);
}

template <typename T>
DurationListAggregator<T>::DurationListAggregator(const AggregatorParamsVariant& /*params*/,
                                                  time_point now, const T& value,
                                                  const std::pmr::polymorphic_allocator<>& content,
                                                  const std::pmr::polymorphic_allocator<>& /*main*/)
    : creationTime(now), samples(content) {
    samples.emplace_back(now, value);
}

template <typename T>
int DurationListAggregator<T>::getGpbAggrType() const {
    return 4;
}

template <typename T>
void DurationListAggregator<T>::feedValue(const AggregatorParamsVariant& params, time_point now,
                                          const T& value) {
    removeExpired(params, now);
    append(samples, now, value);
}

template <typename T>
void DurationListAggregator<T>::pullData(const AggregatorParamsVariant& params, time_point now,
                                         const std::pair<InfoObjectId, std::string>& key,
                                         OutputEncoderIf* encoder) {
    removeExpired(params, now);
    if (auto* collection = addCollection(samples, key, encoder)) {
        const auto period = std::get<AggregatorParams::DurationList>(params).periodSeconds;
        setScope(collection->mutable_list(), Qdx::DURATION,
                 static_cast<std::uint32_t>(period.count()));
    }
}

template <typename T>
void DurationListAggregator<T>::clearData(const AggregatorParamsVariant& /*params*/,
                                          time_point /*now*/) {
    dropAll(samples);
}

template <typename T>
void DurationListAggregator<T>::removeExpired(const AggregatorParamsVariant& params,
                                              time_point now) {
    const auto period =
        Wrapping::nanoseconds(std::get<AggregatorParams::DurationList>(params).periodSeconds);
    // Timestamps may be out of order: every sample is tested.
    std::erase_if(
        samples, [&](const auto& sample) { return Wrapping::elapsed(sample.first, now) > period; });
    samples.shrink_to_fit();
}

template class CountListAggregator<Qdx::V1::MeasurementData>;
template class CountListAggregator<Qdx::V1::CounterData>;
template class CountListAggregator<RecordData>;
template class DurationListAggregator<Qdx::V1::MeasurementData>;
template class DurationListAggregator<Qdx::V1::CounterData>;
template class DurationListAggregator<RecordData>;

}  // namespace Qdx::Backend
