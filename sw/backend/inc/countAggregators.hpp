// Aggregators with one result per window of samples.
#pragma once

#include <cstdint>
#include <memory_resource>
#include <string>
#include <utility>

#include "aggregator.hpp"

namespace Qdx::Backend {

// All take CountNonList: every samplesPerWindow samples make a result with the time of the last of
// them, and the newest results are kept, windows of them or as many as memory allows. Time closes
// no window. Results stand on content; main isn't used.

// The lowest value of each window.
class CountMinAggregator : public Aggregator {
public:
    CountMinAggregator(const AggregatorParamsVariant& params, time_point now,
                       const Qdx::V1::MeasurementData& value,
                       const std::pmr::polymorphic_allocator<>& content,
                       const std::pmr::polymorphic_allocator<>& main);
    ~CountMinAggregator() override = default;

    using Aggregator::feedCircle;
    using Aggregator::feedValue;
    int getGpbAggrType() const override;
    void feedValue(const AggregatorParamsVariant& params, time_point now,
                   const Qdx::V1::MeasurementData& value) override;
    void feedCircle(const AggregatorParamsVariant& params, time_point now,
                    const Qdx::V1::MeasurementData& value, Circle& circle) override;
    void straighten(Circle& circle) noexcept override;
    void pullData(const AggregatorParamsVariant& params, time_point now,
                  const std::pair<InfoObjectId, std::string>& key,
                  OutputEncoderIf* encoder) override;
    void clearData(const AggregatorParamsVariant& params, time_point now) override;

private:
    Samples<Qdx::V1::MeasurementData> results;
    std::uint32_t count = 1;
    Qdx::V1::MeasurementData value;
};

// The highest value of each window.
class CountMaxAggregator : public Aggregator {
public:
    CountMaxAggregator(const AggregatorParamsVariant& params, time_point now,
                       const Qdx::V1::MeasurementData& value,
                       const std::pmr::polymorphic_allocator<>& content,
                       const std::pmr::polymorphic_allocator<>& main);
    ~CountMaxAggregator() override = default;

    using Aggregator::feedCircle;
    using Aggregator::feedValue;
    int getGpbAggrType() const override;
    void feedValue(const AggregatorParamsVariant& params, time_point now,
                   const Qdx::V1::MeasurementData& value) override;
    void feedCircle(const AggregatorParamsVariant& params, time_point now,
                    const Qdx::V1::MeasurementData& value, Circle& circle) override;
    void straighten(Circle& circle) noexcept override;
    void pullData(const AggregatorParamsVariant& params, time_point now,
                  const std::pair<InfoObjectId, std::string>& key,
                  OutputEncoderIf* encoder) override;
    void clearData(const AggregatorParamsVariant& params, time_point now) override;

private:
    Samples<Qdx::V1::MeasurementData> results;
    std::uint32_t count = 1;
    Qdx::V1::MeasurementData value;
};

// The mean of each window, truncated toward zero.
class CountAverageAggregator : public Aggregator {
public:
    CountAverageAggregator(const AggregatorParamsVariant& params, time_point now,
                           const Qdx::V1::MeasurementData& value,
                           const std::pmr::polymorphic_allocator<>& content,
                           const std::pmr::polymorphic_allocator<>& main);
    ~CountAverageAggregator() override = default;

    using Aggregator::feedCircle;
    using Aggregator::feedValue;
    int getGpbAggrType() const override;
    void feedValue(const AggregatorParamsVariant& params, time_point now,
                   const Qdx::V1::MeasurementData& value) override;
    void feedCircle(const AggregatorParamsVariant& params, time_point now,
                    const Qdx::V1::MeasurementData& value, Circle& circle) override;
    void straighten(Circle& circle) noexcept override;
    void pullData(const AggregatorParamsVariant& params, time_point now,
                  const std::pair<InfoObjectId, std::string>& key,
                  OutputEncoderIf* encoder) override;
    void clearData(const AggregatorParamsVariant& params, time_point now) override;

private:
    Samples<Qdx::V1::MeasurementData> results;
    std::uint32_t count = 1;
    // The sum of the open window.
    Qdx::V1::MeasurementData value;
};

// The sum of each window.
class CountSumAggregator : public Aggregator {
public:
    CountSumAggregator(const AggregatorParamsVariant& params, time_point now,
                       const Qdx::V1::CounterData& value,
                       const std::pmr::polymorphic_allocator<>& content,
                       const std::pmr::polymorphic_allocator<>& main);
    ~CountSumAggregator() override = default;

    using Aggregator::feedCircle;
    using Aggregator::feedValue;
    int getGpbAggrType() const override;
    void feedValue(const AggregatorParamsVariant& params, time_point now,
                   const Qdx::V1::CounterData& value) override;
    void feedCircle(const AggregatorParamsVariant& params, time_point now,
                    const Qdx::V1::CounterData& value, Circle& circle) override;
    void straighten(Circle& circle) noexcept override;
    void pullData(const AggregatorParamsVariant& params, time_point now,
                  const std::pair<InfoObjectId, std::string>& key,
                  OutputEncoderIf* encoder) override;
    void clearData(const AggregatorParamsVariant& params, time_point now) override;

private:
    Samples<Qdx::V1::CounterData> results;
    std::uint32_t count = 1;
    Qdx::V1::CounterData value;
};

}  // namespace Qdx::Backend
