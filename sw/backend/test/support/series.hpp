// One aggregator under test, with the parameters that a filter would keep beside it.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory_resource>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "aggregator.hpp"
#include "recordingEncoder.hpp"

namespace Qdx::Test {

using Nanoseconds = std::chrono::nanoseconds;

// A record outside any budget.
inline Backend::RecordData record(std::string_view bytes) {
    return {bytes.begin(), bytes.end(), std::pmr::new_delete_resource()};
}

// Times are counted from the epoch of the steady clock. The aggregator has no main memory to take
// anything from.
//
//     Series<CountMinAggregator, MeasurementData> series(CountNonList{2, 3}, 0s, {5});
//     series.feed(1s, {3});
//     EXPECT_THAT(series.pull(), ElementsAre(Point{1s, 3}));
template <typename Class, typename T>
class Series {
public:
    Series(const Backend::AggregatorParamsVariant& parameters, Nanoseconds at, const T& first,
           std::pmr::memory_resource* content = std::pmr::new_delete_resource())
        : params(parameters),
          aggregator(params, time(at), first, content, std::pmr::null_memory_resource()) {}

    void feed(Nanoseconds at, const T& value) { aggregator.feedValue(params, time(at), value); }

    // The samples that a pull adds; none if it adds no collection.
    auto pull(Nanoseconds at = {}) {
        RecordingEncoder encoder;
        pull(encoder, at);
        if constexpr (std::is_same_v<T, Backend::RecordData>)
            return encoder.recordPoints();
        else
            return encoder.points();
    }

    void pull(RecordingEncoder& encoder, Nanoseconds at = {}) {
        aggregator.pullData(params, time(at), {Backend::InfoObjectId{7}, "rfBranch=1"}, &encoder);
    }

    void clear(Nanoseconds at = {}) { aggregator.clearData(params, time(at)); }

    Backend::Aggregator& get() { return aggregator; }

private:
    static Backend::time_point time(Nanoseconds at) { return Backend::time_point(at); }

    Backend::AggregatorParamsVariant params;
    Class aggregator;
};

// What a call throws, as text; empty if it doesn't throw that.
template <typename Exception, typename Call>
std::string textOf(Call call) {
    try {
        call();
    } catch (const Exception& exception) {
        return exception.what();
    }
    return {};
}

}  // namespace Qdx::Test
