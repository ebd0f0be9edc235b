#include "countAggregators.hpp"

#include <algorithm>

#include "history.hpp"
#include "wrapping.hpp"

namespace Qdx::Backend {

using AggregatorParams::CountNonList;

CountMinAggregator::CountMinAggregator(const AggregatorParamsVariant& params, time_point now,
                                       const Qdx::V1::MeasurementData& sample,
                                       const std::pmr::polymorphic_allocator<>& content,
                                       const std::pmr::polymorphic_allocator<>& /*main*/)
    : results(content), value(sample) {
    if (std::get<CountNonList>(params).samplesPerWindow == 1) {
        results.emplace_back(now, value);
        count = 0;
    }
}

int CountMinAggregator::getGpbAggrType() const {
    return 0;
}

void CountMinAggregator::feedValue(const AggregatorParamsVariant& params, time_point now,
                                   const Qdx::V1::MeasurementData& sample) {
    feedInOrder(*this, params, now, sample);
}

void CountMinAggregator::feedCircle(const AggregatorParamsVariant& params, time_point now,
                                    const Qdx::V1::MeasurementData& sample, Circle& circle) {
    const auto& [samplesPerWindow, windows] = std::get<CountNonList>(params);
    ++count;
    value = count == 1 ? sample : std::min(value, sample);
    if (count == samplesPerWindow) {
        appendToCircle(results, windows, now, value, circle);
        count = 0;
    }
}

void CountMinAggregator::straighten(Circle& circle) noexcept {
    straightenHistory(results, circle);
}

void CountMinAggregator::pullData(const AggregatorParamsVariant& params, time_point /*now*/,
                                  const std::pair<InfoObjectId, std::string>& key,
                                  OutputEncoderIf* encoder) {
    if (auto* collection = addCollection(results, key, encoder))
        setScope(collection->mutable_min(), Qdx::COUNT,
                 std::get<CountNonList>(params).samplesPerWindow);
}

void CountMinAggregator::clearData(const AggregatorParamsVariant& /*params*/, time_point /*now*/) {
    dropAll(results);
}

CountMaxAggregator::CountMaxAggregator(const AggregatorParamsVariant& params, time_point now,
                                       const Qdx::V1::MeasurementData& sample,
                                       const std::pmr::polymorphic_allocator<>& content,
                                       const std::pmr::polymorphic_allocator<>& /*main*/)
    : results(content), value(sample) {
    if (std::get<CountNonList>(params).samplesPerWindow == 1) {
        results.emplace_back(now, value);
        count = 0;
    }
}

int CountMaxAggregator::getGpbAggrType() const {
    return 1;
}

void CountMaxAggregator::feedValue(const AggregatorParamsVariant& params, time_point now,
                                   const Qdx::V1::MeasurementData& sample) {
    feedInOrder(*this, params, now, sample);
}

void CountMaxAggregator::feedCircle(const AggregatorParamsVariant& params, time_point now,
                                    const Qdx::V1::MeasurementData& sample, Circle& circle) {
    const auto& [samplesPerWindow, windows] = std::get<CountNonList>(params);
    ++count;
    value = count == 1 ? sample : std::max(value, sample);
    if (count == samplesPerWindow) {
        appendToCircle(results, windows, now, value, circle);
        count = 0;
    }
}

void CountMaxAggregator::straighten(Circle& circle) noexcept {
    straightenHistory(results, circle);
}

void CountMaxAggregator::pullData(const AggregatorParamsVariant& params, time_point /*now*/,
                                  const std::pair<InfoObjectId, std::string>& key,
                                  OutputEncoderIf* encoder) {
    if (auto* collection = addCollection(results, key, encoder))
        setScope(collection->mutable_max(), Qdx::COUNT,
                 std::get<CountNonList>(params).samplesPerWindow);
}

void CountMaxAggregator::clearData(const AggregatorParamsVariant& /*params*/, time_point /*now*/) {
    dropAll(results);
}

CountAverageAggregator::CountAverageAggregator(const AggregatorParamsVariant& params,
                                               time_point now,
                                               const Qdx::V1::MeasurementData& sample,
                                               const std::pmr::polymorphic_allocator<>& content,
                                               const std::pmr::polymorphic_allocator<>& /*main*/)
    : results(content), value(sample) {
    if (std::get<CountNonList>(params).samplesPerWindow == 1) {
        results.emplace_back(now, value);
        count = 0;
        value = {};
    }
}

int CountAverageAggregator::getGpbAggrType() const {
    return 2;
}

void CountAverageAggregator::feedValue(const AggregatorParamsVariant& params, time_point now,
                                       const Qdx::V1::MeasurementData& sample) {
    feedInOrder(*this, params, now, sample);
}

void CountAverageAggregator::feedCircle(const AggregatorParamsVariant& params, time_point now,
                                        const Qdx::V1::MeasurementData& sample, Circle& circle) {
    const auto& [samplesPerWindow, windows] = std::get<CountNonList>(params);
    ++count;
    value =
        count == 1 ? sample : Qdx::V1::MeasurementData{Wrapping::add(value.value, sample.value)};
    if (count == samplesPerWindow) {
        appendToCircle(results, windows, now,
                       Qdx::V1::MeasurementData{Wrapping::divide(value.value, count)}, circle);
        count = 0;
        value = {};
    }
}

void CountAverageAggregator::straighten(Circle& circle) noexcept {
    straightenHistory(results, circle);
}

void CountAverageAggregator::pullData(const AggregatorParamsVariant& params, time_point /*now*/,
                                      const std::pair<InfoObjectId, std::string>& key,
                                      OutputEncoderIf* encoder) {
    if (auto* collection = addCollection(results, key, encoder))
        setScope(collection->mutable_avg(), Qdx::COUNT,
                 std::get<CountNonList>(params).samplesPerWindow);
}

void CountAverageAggregator::clearData(const AggregatorParamsVariant& /*params*/,
                                       time_point /*now*/) {
    dropAll(results);
}

CountSumAggregator::CountSumAggregator(const AggregatorParamsVariant& params, time_point now,
                                       const Qdx::V1::CounterData& sample,
                                       const std::pmr::polymorphic_allocator<>& content,
                                       const std::pmr::polymorphic_allocator<>& /*main*/)
    : results(content), value(sample) {
    if (std::get<CountNonList>(params).samplesPerWindow == 1) {
        results.emplace_back(now, value);
        count = 0;
        value = {};
    }
}

int CountSumAggregator::getGpbAggrType() const {
    return 3;
}

void CountSumAggregator::feedValue(const AggregatorParamsVariant& params, time_point now,
                                   const Qdx::V1::CounterData& sample) {
    feedInOrder(*this, params, now, sample);
}

void CountSumAggregator::feedCircle(const AggregatorParamsVariant& params, time_point now,
                                    const Qdx::V1::CounterData& sample, Circle& circle) {
    const auto& [samplesPerWindow, windows] = std::get<CountNonList>(params);
    ++count;
    value = count == 1 ? sample : Qdx::V1::CounterData{Wrapping::add(value.value, sample.value)};
    if (count == samplesPerWindow) {
        appendToCircle(results, windows, now, value, circle);
        count = 0;
        value = {};
    }
}

void CountSumAggregator::straighten(Circle& circle) noexcept {
    straightenHistory(results, circle);
}

void CountSumAggregator::pullData(const AggregatorParamsVariant& params, time_point /*now*/,
                                  const std::pair<InfoObjectId, std::string>& key,
                                  OutputEncoderIf* encoder) {
    if (auto* collection = addCollection(results, key, encoder))
        setScope(collection->mutable_sum(), Qdx::COUNT,
                 std::get<CountNonList>(params).samplesPerWindow);
}

void CountSumAggregator::clearData(const AggregatorParamsVariant& /*params*/, time_point /*now*/) {
    dropAll(results);
}

}  // namespace Qdx::Backend
