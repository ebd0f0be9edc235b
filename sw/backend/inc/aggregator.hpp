// What turns the stream of samples of one info object in one context into a short history.
#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>

#include "outputEncoderIf.hpp"

namespace Qdx::Backend {

enum class AggregationMethod : std::int32_t { Average = 0, Max = 1, Sum = 2, Min = 3, List = 4 };
enum class AggregationPeriod : std::int32_t { Count = 0, Duration = 1 };
enum class TypeOfData : std::int32_t { Record = 0, Counter = 1, Measurement = 2 };

// The text of each value, as capture statements and reports write it.
const std::map<AggregationMethod, std::string>& aggregationMethodTexts();
const std::map<AggregationPeriod, std::string>& aggregationPeriodTexts();
const std::map<TypeOfData, std::string>& typeOfDataTexts();

// What a capture statement asks of an aggregator. The filter keeps it beside the aggregator and
// passes it into every call.
namespace AggregatorParams {

// One number per window of seconds, the newest windows kept.
struct DurationNonList {
    std::chrono::seconds periodSeconds;
    std::uint32_t windows;
    friend auto operator<=>(const DurationNonList&, const DurationNonList&) = default;
};

// All samples of the last seconds.
struct DurationList {
    std::chrono::seconds periodSeconds;
    friend auto operator<=>(const DurationList&, const DurationList&) = default;
};

// One number per window of samples, the newest windows kept.
struct CountNonList {
    std::uint32_t samplesPerWindow;
    std::uint32_t windows;
    friend auto operator<=>(const CountNonList&, const CountNonList&) = default;
};

// The newest samples.
struct CountList {
    std::uint32_t size;
    friend auto operator<=>(const CountList&, const CountList&) = default;
};

}  // namespace AggregatorParams

using AggregatorParamsVariant =
    std::variant<std::monostate, AggregatorParams::DurationNonList, AggregatorParams::DurationList,
                 AggregatorParams::CountNonList, AggregatorParams::CountList>;

// Where the oldest entry of a full history stands that is overwritten in a circle. It belongs to
// one who feeds the same aggregator again and again, and begins at 0: in order.
struct Circle {
    std::uint32_t oldest = 0;
    const void* next = nullptr;  // what the next feed will write, if that is known; only a hint
};

// Fed with the samples of one key and pulled through its filter, on that filter's thread. Derived
// classes override the feedValue of the one kind of sample that they take; the others throw
// std::runtime_error. The first sample comes with the constructor.
class Aggregator {
public:
    virtual ~Aggregator() = default;

    // 0 min, 1 max, 2 average, 3 sum, 4 list: the order of the output format, not of
    // AggregationMethod.
    virtual int getGpbAggrType() const = 0;

    // Takes a sample. When memory is refused, old data gives way in silence.
    virtual void feedValue(const AggregatorParamsVariant& params, time_point now,
                           const Qdx::V1::MeasurementData& value);
    virtual void feedValue(const AggregatorParamsVariant& params, time_point now,
                           const Qdx::V1::CounterData& value);
    virtual void feedValue(const AggregatorParamsVariant& params, time_point now,
                           const RecordData& value);

    // Adds what is kept to the encoder as one collection under the key; nothing if nothing is kept.
    virtual void pullData(const AggregatorParamsVariant& params, time_point now,
                          const std::pair<InfoObjectId, std::string>& key,
                          OutputEncoderIf* encoder) = 0;

    // Drops what is kept and gives its memory back; a window in progress carries on.
    virtual void clearData(const AggregatorParamsVariant& params, time_point now) = 0;

    // feedValue, but a full history need not be moved up by one place: it may become a circle.
    // REQUIRES: nothing else is asked of the aggregator before straighten().
    virtual void feedCircle(const AggregatorParamsVariant& params, time_point now,
                            const Qdx::V1::MeasurementData& value, Circle& circle);
    virtual void feedCircle(const AggregatorParamsVariant& params, time_point now,
                            const Qdx::V1::CounterData& value, Circle& circle);
    virtual void feedCircle(const AggregatorParamsVariant& params, time_point now,
                            const RecordData& value, Circle& circle);
    // Puts the history in order again, oldest first.
    virtual void straighten(Circle& circle) noexcept;
};

}  // namespace Qdx::Backend
