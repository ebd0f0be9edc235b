// Batches: the message that carries measurements, counters and records to the collector.
// wireFormat.hpp draws it.
//
//     BatchWriter batch(ozo_get_max_size());
//     while (!batch.addMeasurement("host:cpu:load", "deviceId=0", {2500})) {
//         send(batch.take());  // full: what didn't fit goes into the next one
//     }
#pragma once

#include <span>
#include <string_view>

#include "frontendMessages.hpp"
#include "sampleData.hpp"

namespace Qdx::V1 {

// Collects samples up to the size of one message. Once its buffers have grown to that size, adding
// a sample allocates nothing.
//
// Adding gives false when the sample doesn't fit any more. Throws std::invalid_argument if the name
// is empty, or name or context hold white space or a NUL, which would cut the text in another place
// at the receiver; std::length_error if the sample is larger than a whole message; std::bad_alloc.
// A sample that is not added leaves the batch as it is.
//
// One thread at a time.
class BatchWriter {
public:
    // The largest message in bytes, what ozo_get_max_size() gives.
    explicit BatchWriter(std::size_t maximumBytes) : maximumSize(maximumBytes) {}

    [[nodiscard]] bool addMeasurement(std::string_view name, std::string_view context,
                                      MeasurementData value);
    [[nodiscard]] bool addCounter(std::string_view name, std::string_view context,
                                  CounterData value);
    [[nodiscard]] bool addRecord(std::string_view name, std::string_view context,
                                 std::span<const unsigned char> payload);

    // True while nothing was added since construction or the last take().
    bool empty() const;

    // The message of what was added; the writer is empty afterwards and keeps its buffers. Throws
    // std::bad_alloc, with nothing taken.
    MessageBytes take(References references = {});

private:
    bool addInt64(MessageBytes& section, std::string_view name, std::string_view context,
                  std::int64_t value);
    bool beginItem(MessageBytes& section, std::string_view name, std::string_view context,
                   std::size_t payloadSize);
    std::size_t size() const;

    const std::size_t maximumSize;
    MessageBytes measurements;
    MessageBytes counters;
    MessageBytes records;
};

}  // namespace Qdx::V1
