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
#include "sampleKey.hpp"

namespace Qdx::V1 {

// Collects samples up to the size of one message. Once its buffers have grown to that size, or
// after reserve(), adding a sample allocates nothing.
//
// Adding gives false when the sample doesn't fit any more. Throws std::invalid_argument for a name
// and context that are no SampleKey; std::length_error if the sample is larger than a whole
// message; std::bad_alloc. A sample that is not added leaves the batch as it is.
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

    // The same for a key that was prepared: nothing is left to check.
    [[nodiscard]] bool addMeasurement(const SampleKey& key, MeasurementData value);
    [[nodiscard]] bool addCounter(const SampleKey& key, CounterData value);
    [[nodiscard]] bool addRecord(const SampleKey& key, std::span<const unsigned char> payload);

    // Whether a sample fits now, and whether it would fit if the batch were empty.
    bool hasRoomFor(const SampleKey& key, std::size_t payloadSize) const;
    bool couldHold(const SampleKey& key, std::size_t payloadSize) const;

    // Takes the memory for the largest batch of any mix of samples: three times the largest
    // message.
    void reserve();

    // True while nothing was added since construction or the last take.
    bool empty() const;

    // Bytes of the message of what was added.
    std::size_t size() const;

    // The message of what was added; the writer is empty afterwards and keeps its buffers. Throws
    // std::bad_alloc, with nothing taken.
    MessageBytes take(References references = {});

    // The same into the caller's memory; gives how much of it the message takes. REQUIRES: size()
    // bytes of room.
    std::size_t takeInto(std::span<unsigned char> out, References references = {});

private:
    bool addInt64(MessageBytes& section, std::string_view name, std::string_view context,
                  std::int64_t value);
    bool addInt64(MessageBytes& section, const SampleKey& key, std::int64_t value);
    bool beginItem(MessageBytes& section, std::string_view name, std::string_view context,
                   std::size_t payloadSize);
    bool beginItem(MessageBytes& section, const SampleKey& key, std::size_t payloadSize);
    bool makeRoom(MessageBytes& section, std::string_view key, std::size_t itemSize);

    const std::size_t maximumSize;
    MessageBytes measurements;
    MessageBytes counters;
    MessageBytes records;
};

}  // namespace Qdx::V1
