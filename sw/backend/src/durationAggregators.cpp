#include "durationAggregators.hpp"

#include <algorithm>

#include "history.hpp"
#include "wrapping.hpp"

namespace Qdx::Backend {

using AggregatorParams::DurationNonList;

namespace {

std::int64_t nanosecondsPerWindow(const AggregatorParamsVariant& params) {
    return Wrapping::nanoseconds(std::get<DurationNonList>(params).periodSeconds);
}

std::uint32_t secondsPerWindow(const AggregatorParamsVariant& params) {
    return static_cast<std::uint32_t>(std::get<DurationNonList>(params).periodSeconds.count());
}

// The start of the oldest window whose result is still there when as many as these have followed.
time_point passOver(std::uint32_t windows, std::int64_t period, time_point windowStart,
                    time_point now) {
    const auto ended = Wrapping::divide(Wrapping::elapsed(windowStart, now), period);
    return ended > windows ? Wrapping::later(windowStart, (ended - windows) * period) : windowStart;
}

// For aggregators whose results all have the same value from the second of a call on. Adds the
// result that close gives for each window that has ended by now and moves windowStart on to the
// window after it, which is told to open. After days without samples that takes no longer than the
// history is: windows whose results would only push each other out of it are passed over.
template <typename T, typename Close, typename Open>
void closeWindows(const AggregatorParamsVariant& params, time_point now, time_point& windowStart,
                  Samples<T>& results, Close close, Open open) {
    const auto period = nanosecondsPerWindow(params);
    const auto windows = std::get<DurationNonList>(params).windows;
    Circle circle;
    for (auto end = Wrapping::later(windowStart, period); now >= end;
         end = Wrapping::later(windowStart, period)) {
        appendToCircle(results, windows, end, close(end), circle);
        windowStart = results.size() == windows ? passOver(windows, period, end, now) : end;
        open(windowStart);
    }
    straightenHistory(results, circle);
}

// Results are defined with milliseconds of 32 bits.
std::int32_t milliseconds(std::int64_t nanoseconds) {
    return static_cast<std::int32_t>(nanoseconds / 1'000'000);
}

// What a value that stood from one time to another adds to the integral, in value times seconds.
std::int64_t integral(time_point from, time_point to, std::int64_t value) {
    return Wrapping::multiply(milliseconds(Wrapping::elapsed(from, to)), value) / 1000;
}

}  // namespace

DurationMinAggregator::DurationMinAggregator(const AggregatorParamsVariant& /*params*/,
                                             time_point now, const Qdx::V1::MeasurementData& value,
                                             const std::pmr::polymorphic_allocator<>& content,
                                             const std::pmr::polymorphic_allocator<>& /*main*/)
    : results(content), windowStart(now), lastValue(value), extreme(value) {}

int DurationMinAggregator::getGpbAggrType() const {
    return 0;
}

void DurationMinAggregator::feedValue(const AggregatorParamsVariant& params, time_point now,
                                      const Qdx::V1::MeasurementData& value) {
    progressTime(params, now);
    extreme = std::min(value, extreme);
    lastValue = value;
}

void DurationMinAggregator::pullData(const AggregatorParamsVariant& params, time_point now,
                                     const std::pair<InfoObjectId, std::string>& key,
                                     OutputEncoderIf* encoder) {
    progressTime(params, now);
    if (auto* collection = addCollection(results, key, encoder))
        setScope(collection->mutable_min(), Qdx::DURATION, secondsPerWindow(params));
}

void DurationMinAggregator::clearData(const AggregatorParamsVariant& /*params*/,
                                      time_point /*now*/) {
    dropAll(results);
}

void DurationMinAggregator::progressTime(const AggregatorParamsVariant& params, time_point now) {
    closeWindows(
        params, now, windowStart, results, [&](time_point /*end*/) { return extreme; },
        [&](time_point /*start*/) { extreme = lastValue; });
}

DurationMaxAggregator::DurationMaxAggregator(const AggregatorParamsVariant& /*params*/,
                                             time_point now, const Qdx::V1::MeasurementData& value,
                                             const std::pmr::polymorphic_allocator<>& content,
                                             const std::pmr::polymorphic_allocator<>& /*main*/)
    : results(content), windowStart(now), lastValue(value), extreme(value) {}

int DurationMaxAggregator::getGpbAggrType() const {
    return 1;
}

void DurationMaxAggregator::feedValue(const AggregatorParamsVariant& params, time_point now,
                                      const Qdx::V1::MeasurementData& value) {
    progressTime(params, now);
    extreme = std::max(value, extreme);
    lastValue = value;
}

void DurationMaxAggregator::pullData(const AggregatorParamsVariant& params, time_point now,
                                     const std::pair<InfoObjectId, std::string>& key,
                                     OutputEncoderIf* encoder) {
    progressTime(params, now);
    if (auto* collection = addCollection(results, key, encoder))
        setScope(collection->mutable_max(), Qdx::DURATION, secondsPerWindow(params));
}

void DurationMaxAggregator::clearData(const AggregatorParamsVariant& /*params*/,
                                      time_point /*now*/) {
    dropAll(results);
}

void DurationMaxAggregator::progressTime(const AggregatorParamsVariant& params, time_point now) {
    closeWindows(
        params, now, windowStart, results, [&](time_point /*end*/) { return extreme; },
        [&](time_point /*start*/) { extreme = lastValue; });
}

DurationAverageAggregator::DurationAverageAggregator(
    const AggregatorParamsVariant& /*params*/, time_point now,
    const Qdx::V1::MeasurementData& value, const std::pmr::polymorphic_allocator<>& content,
    const std::pmr::polymorphic_allocator<>& /*main*/)
    : results(content), windowStart(now), lastChange(now), lastValue(value) {}

int DurationAverageAggregator::getGpbAggrType() const {
    return 2;
}

void DurationAverageAggregator::feedValue(const AggregatorParamsVariant& params, time_point now,
                                          const Qdx::V1::MeasurementData& value) {
    progressTime(params, now);
    accumulated = Wrapping::add(accumulated, integral(lastChange, now, lastValue.value));
    lastChange = now;
    lastValue = value;
}

void DurationAverageAggregator::pullData(const AggregatorParamsVariant& params, time_point now,
                                         const std::pair<InfoObjectId, std::string>& key,
                                         OutputEncoderIf* encoder) {
    progressTime(params, now);
    if (auto* collection = addCollection(results, key, encoder))
        setScope(collection->mutable_avg(), Qdx::DURATION, secondsPerWindow(params));
}

void DurationAverageAggregator::clearData(const AggregatorParamsVariant& /*params*/,
                                          time_point /*now*/) {
    dropAll(results);
}

void DurationAverageAggregator::progressTime(const AggregatorParamsVariant& params,
                                             time_point now) {
    const std::int64_t seconds = milliseconds(nanosecondsPerWindow(params)) / 1000;
    closeWindows(
        params, now, windowStart, results,
        [&](time_point end) {
            accumulated = Wrapping::add(accumulated, integral(lastChange, end, lastValue.value));
            return Qdx::V1::MeasurementData{Wrapping::divide(accumulated, seconds)};
        },
        [&](time_point start) {
            accumulated = 0;
            lastChange = start;
        });
}

DurationSumAggregator::DurationSumAggregator(const AggregatorParamsVariant& /*params*/,
                                             time_point now, const Qdx::V1::CounterData& value,
                                             const std::pmr::polymorphic_allocator<>& content,
                                             const std::pmr::polymorphic_allocator<>& /*main*/)
    : results(content), windowStart(now), sum(value) {}

int DurationSumAggregator::getGpbAggrType() const {
    return 3;
}

void DurationSumAggregator::feedValue(const AggregatorParamsVariant& params, time_point now,
                                      const Qdx::V1::CounterData& value) {
    progressTime(params, now);
    sum.value = hasData ? Wrapping::add(sum.value, value.value) : value.value;
    hasData = true;
}

void DurationSumAggregator::pullData(const AggregatorParamsVariant& params, time_point now,
                                     const std::pair<InfoObjectId, std::string>& key,
                                     OutputEncoderIf* encoder) {
    progressTime(params, now);
    if (auto* collection = addCollection(results, key, encoder))
        setScope(collection->mutable_sum(), Qdx::DURATION, secondsPerWindow(params));
}

void DurationSumAggregator::clearData(const AggregatorParamsVariant& /*params*/,
                                      time_point /*now*/) {
    dropAll(results);
}

void DurationSumAggregator::progressTime(const AggregatorParamsVariant& params, time_point now) {
    const auto period = nanosecondsPerWindow(params);
    const auto end = Wrapping::later(windowStart, period);
    if (now < end)
        return;
    if (hasData) {
        appendResult(results, std::get<DurationNonList>(params).windows, end, sum);
        hasData = false;
    }
    // Empty windows leave no result: on to the one that holds now, in one step.
    const auto ended = Wrapping::divide(Wrapping::elapsed(windowStart, now), period);
    windowStart = Wrapping::later(windowStart, Wrapping::multiply(ended, period));
}

}  // namespace Qdx::Backend
