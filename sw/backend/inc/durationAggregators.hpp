// Aggregators with one result per window of seconds.
#pragma once

#include <cstdint>
#include <memory_resource>
#include <string>
#include <utility>

#include "aggregator.hpp"

namespace Qdx::Backend {

// All take DurationNonList: windows of periodSeconds follow each other from the first sample on,
// and the newest results are kept, windows of them or as many as memory allows. A window closes
// when a sample or a pull shows that its end was reached; its result carries that end. Results
// stand on content; main isn't used.

// The lowest value of each window. A value stands until the next one, so a window without samples
// has a result too.
class DurationMinAggregator : public Aggregator {
public:
    DurationMinAggregator(const AggregatorParamsVariant& params, time_point now,
                          const Qdx::V1::MeasurementData& value,
                          const std::pmr::polymorphic_allocator<>& content,
                          const std::pmr::polymorphic_allocator<>& main);
    ~DurationMinAggregator() override = default;

    using Aggregator::feedValue;
    int getGpbAggrType() const override;
    void feedValue(const AggregatorParamsVariant& params, time_point now,
                   const Qdx::V1::MeasurementData& value) override;
    void pullData(const AggregatorParamsVariant& params, time_point now,
                  const std::pair<InfoObjectId, std::string>& key,
                  OutputEncoderIf* encoder) override;
    void clearData(const AggregatorParamsVariant& params, time_point now) override;

private:
    void progressTime(const AggregatorParamsVariant& params, time_point now);

    Samples<Qdx::V1::MeasurementData> results;
    time_point windowStart;
    Qdx::V1::MeasurementData lastValue;
    // Of the open window.
    Qdx::V1::MeasurementData extreme;
};

// The highest value of each window. A value stands until the next one, so a window without samples
// has a result too.
class DurationMaxAggregator : public Aggregator {
public:
    DurationMaxAggregator(const AggregatorParamsVariant& params, time_point now,
                          const Qdx::V1::MeasurementData& value,
                          const std::pmr::polymorphic_allocator<>& content,
                          const std::pmr::polymorphic_allocator<>& main);
    ~DurationMaxAggregator() override = default;

    using Aggregator::feedValue;
    int getGpbAggrType() const override;
    void feedValue(const AggregatorParamsVariant& params, time_point now,
                   const Qdx::V1::MeasurementData& value) override;
    void pullData(const AggregatorParamsVariant& params, time_point now,
                  const std::pair<InfoObjectId, std::string>& key,
                  OutputEncoderIf* encoder) override;
    void clearData(const AggregatorParamsVariant& params, time_point now) override;

private:
    void progressTime(const AggregatorParamsVariant& params, time_point now);

    Samples<Qdx::V1::MeasurementData> results;
    time_point windowStart;
    Qdx::V1::MeasurementData lastValue;
    // Of the open window.
    Qdx::V1::MeasurementData extreme;
};

// The mean of each window, each value weighted by the milliseconds that it stood. Every part and
// the mean are truncated toward zero; milliseconds are counted in 32 bits, so a period of 2,147,484
// seconds or more gives a wrong mean. A window without samples has a result too.
class DurationAverageAggregator : public Aggregator {
public:
    DurationAverageAggregator(const AggregatorParamsVariant& params, time_point now,
                              const Qdx::V1::MeasurementData& value,
                              const std::pmr::polymorphic_allocator<>& content,
                              const std::pmr::polymorphic_allocator<>& main);
    ~DurationAverageAggregator() override = default;

    using Aggregator::feedValue;
    int getGpbAggrType() const override;
    void feedValue(const AggregatorParamsVariant& params, time_point now,
                   const Qdx::V1::MeasurementData& value) override;
    void pullData(const AggregatorParamsVariant& params, time_point now,
                  const std::pair<InfoObjectId, std::string>& key,
                  OutputEncoderIf* encoder) override;
    void clearData(const AggregatorParamsVariant& params, time_point now) override;

private:
    void progressTime(const AggregatorParamsVariant& params, time_point now);

    Samples<Qdx::V1::MeasurementData> results;
    time_point windowStart;
    // Time of the newest sample, or the window's start if that is later.
    time_point lastChange;
    Qdx::V1::MeasurementData lastValue;
    // Value times seconds of the open window up to lastChange.
    std::int64_t accumulated = 0;
};

// The sum of each window. A window without samples has no result.
class DurationSumAggregator : public Aggregator {
public:
    DurationSumAggregator(const AggregatorParamsVariant& params, time_point now,
                          const Qdx::V1::CounterData& value,
                          const std::pmr::polymorphic_allocator<>& content,
                          const std::pmr::polymorphic_allocator<>& main);
    ~DurationSumAggregator() override = default;

    using Aggregator::feedValue;
    int getGpbAggrType() const override;
    void feedValue(const AggregatorParamsVariant& params, time_point now,
                   const Qdx::V1::CounterData& value) override;
    void pullData(const AggregatorParamsVariant& params, time_point now,
                  const std::pair<InfoObjectId, std::string>& key,
                  OutputEncoderIf* encoder) override;
    void clearData(const AggregatorParamsVariant& params, time_point now) override;

private:
    void progressTime(const AggregatorParamsVariant& params, time_point now);

    Samples<Qdx::V1::CounterData> results;
    time_point windowStart;
    Qdx::V1::CounterData sum;
    // Whether the open window has had a sample.
    bool hasData = true;
};

}  // namespace Qdx::Backend
