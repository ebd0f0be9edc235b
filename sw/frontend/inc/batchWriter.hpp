// Batches: the message that carries measurements, counters and records to the collector.
//
//     BatchWriter batch(ozo_get_max_size());
//     if (!batch.addMeasurement("host:cpu:load", "deviceId=0", {2500})) {
//         send(batch.take());      // full: what didn't fit goes into the next one
//         batch.addMeasurement(...);
//     }
//
// The message, its numbers big-endian except the first:
//
//     message number, procedure, connection, 0       4 bytes each
//     bytes of measurements, of counters, of records 4 bytes each
//     items of measurements, of counters, of records without padding
//
// An item is its key text "name" or "name context" and a NUL, the size of its payload in 4 bytes,
// and the payload: 8 bytes of a measurement or counter, the bytes of a record.
#pragma once

#include <span>
#include <string_view>

#include "sampleData.hpp"
#include "wireFormat.hpp"

namespace Qdx::Frontend {

// Collects samples up to the size of one message. Once its buffers have grown to that size, adding
// a sample allocates nothing.
//
// Adding gives false, and leaves the batch as it is, when the sample doesn't fit any more. Throws
// std::invalid_argument if the name is empty, or name or context hold white space or a NUL, which
// would cut the text in another place at the receiver; std::length_error if the sample is larger
// than a whole message.
//
// One thread at a time.
class BatchWriter {
public:
    // The four words in front of the sections' sizes, and those.
    static constexpr std::size_t batchHeaderSize = headerSize + 4 + 3 * 4;

    // The largest message in bytes, what ozo_get_max_size() gives.
    explicit BatchWriter(std::size_t maximumSize) : maximumSize(maximumSize) {}

    [[nodiscard]] bool addMeasurement(std::string_view name, std::string_view context,
                                      Qdx::V1::MeasurementData value);
    [[nodiscard]] bool addCounter(std::string_view name, std::string_view context,
                                  Qdx::V1::CounterData value);
    [[nodiscard]] bool addRecord(std::string_view name, std::string_view context,
                                 std::span<const unsigned char> payload);

    // True while nothing was added since construction or the last take().
    bool empty() const;

    // The message of what was added; the writer is empty afterwards and keeps its buffers.
    Bytes take(References references = {});

private:
    bool addInt64(Bytes& section, std::string_view name, std::string_view context,
                  std::int64_t value);
    bool beginItem(Bytes& section, std::string_view name, std::string_view context,
                   std::size_t payloadSize);
    std::size_t size() const;

    const std::size_t maximumSize;
    Bytes measurements;
    Bytes counters;
    Bytes records;
};

}  // namespace Qdx::Frontend
