// Aggregators that keep the samples themselves.
#pragma once

#include <memory_resource>
#include <string>
#include <utility>

#include "aggregator.hpp"

namespace Qdx::Backend {

// How a full list takes a new sample: the oldest goes, the new one stands last. Throws
// std::out_of_range for an empty list.
class ListAggregatorHelper {
public:
    // Overwrite in place; nothing is allocated.
    static void replaceFirst(Samples<Qdx::V1::MeasurementData>& samples, time_point now,
                             const Qdx::V1::MeasurementData& value);
    static void replaceFirst(Samples<Qdx::V1::CounterData>& samples, time_point now,
                             const Qdx::V1::CounterData& value);
    // A record may need more memory than the one that it replaces. If that is refused, the list is
    // emptied to make room, and takes back the newest old records that fit; a record that doesn't
    // fit even then is dropped, and the list is as before. Meanwhile the old records stand on the
    // default resource. Throws std::bad_alloc when they have no room there, with the list
    // unchanged, or when the list can't be restored.
    static void replaceFirst(Samples<RecordData>& samples, time_point now, const RecordData& value);
};

// Keeps the newest CountList::size samples of type T, oldest first, or as many as memory allows.
template <typename T>
class CountListAggregator : public Aggregator {
public:
    CountListAggregator(const AggregatorParamsVariant& params, time_point now, const T& value,
                        const std::pmr::polymorphic_allocator<>& content,
                        const std::pmr::polymorphic_allocator<>& main);
    ~CountListAggregator() override = default;

    using Aggregator::feedCircle;
    using Aggregator::feedValue;
    int getGpbAggrType() const override;
    void feedValue(const AggregatorParamsVariant& params, time_point now, const T& value) override;
    // Records are kept in order.
    void feedCircle(const AggregatorParamsVariant& params, time_point now, const T& value,
                    Circle& circle) override;
    void straighten(Circle& circle) noexcept override;
    void pullData(const AggregatorParamsVariant& params, time_point now,
                  const std::pair<InfoObjectId, std::string>& key,
                  OutputEncoderIf* encoder) override;
    void clearData(const AggregatorParamsVariant& params, time_point now) override;

private:
    Samples<T> samples;
};

// Keeps the samples of type T of the last DurationList::periodSeconds, or the newest of them that
// memory allows. Holds no spare capacity between samples: every sample reallocates.
template <typename T>
class DurationListAggregator : public Aggregator {
public:
    DurationListAggregator(const AggregatorParamsVariant& params, time_point now, const T& value,
                           const std::pmr::polymorphic_allocator<>& content,
                           const std::pmr::polymorphic_allocator<>& main);
    ~DurationListAggregator() override = default;

    using Aggregator::feedValue;
    int getGpbAggrType() const override;
    void feedValue(const AggregatorParamsVariant& params, time_point now, const T& value) override;
    void pullData(const AggregatorParamsVariant& params, time_point now,
                  const std::pair<InfoObjectId, std::string>& key,
                  OutputEncoderIf* encoder) override;
    void clearData(const AggregatorParamsVariant& params, time_point now) override;

private:
    void removeExpired(const AggregatorParamsVariant& params, time_point now);

    time_point creationTime;  // of the first sample; for whoever looks at a core dump
    Samples<T> samples;
};

extern template class CountListAggregator<Qdx::V1::MeasurementData>;
extern template class CountListAggregator<Qdx::V1::CounterData>;
extern template class CountListAggregator<RecordData>;
extern template class DurationListAggregator<Qdx::V1::MeasurementData>;
extern template class DurationListAggregator<Qdx::V1::CounterData>;
extern template class DurationListAggregator<RecordData>;

}  // namespace Qdx::Backend
