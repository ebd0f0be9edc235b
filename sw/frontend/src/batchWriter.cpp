#include "batchWriter.hpp"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

#include "bigEndian.hpp"
#include "wireFormat.hpp"

namespace Qdx::V1 {
namespace {

std::size_t sizeOfItem(const SampleKey& key, std::size_t payloadSize) {
    return key.bytes().size() + 4 + payloadSize;
}

void append(MessageBytes& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
}

void append(MessageBytes& out, std::span<const unsigned char> bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

}  // namespace

bool BatchWriter::addMeasurement(std::string_view name, std::string_view context,
                                 MeasurementData value) {
    return addInt64(measurements, name, context, value.value);
}

bool BatchWriter::addCounter(std::string_view name, std::string_view context, CounterData value) {
    return addInt64(counters, name, context, value.value);
}

bool BatchWriter::addRecord(std::string_view name, std::string_view context,
                            std::span<const unsigned char> payload) {
    if (!beginItem(records, name, context, payload.size())) {
        return false;
    }
    append(records, payload);
    return true;
}

bool BatchWriter::addMeasurement(const SampleKey& key, MeasurementData value) {
    return addInt64(measurements, key, value.value);
}

bool BatchWriter::addCounter(const SampleKey& key, CounterData value) {
    return addInt64(counters, key, value.value);
}

bool BatchWriter::addRecord(const SampleKey& key, std::span<const unsigned char> payload) {
    if (!beginItem(records, key, payload.size())) {
        return false;
    }
    append(records, payload);
    return true;
}

bool BatchWriter::hasRoomFor(const SampleKey& key, std::size_t payloadSize) const {
    return size() + sizeOfItem(key, payloadSize) <= maximumSize;
}

bool BatchWriter::couldHold(const SampleKey& key, std::size_t payloadSize) const {
    return beProcessBatchesFixedSize + sizeOfItem(key, payloadSize) <= maximumSize;
}

void BatchWriter::reserve() {
    for (MessageBytes* section : {&measurements, &counters, &records}) {
        section->reserve(maximumSize);
    }
}

bool BatchWriter::empty() const {
    return measurements.empty() && counters.empty() && records.empty();
}

std::size_t BatchWriter::size() const {
    return beProcessBatchesFixedSize + measurements.size() + counters.size() + records.size();
}

MessageBytes BatchWriter::take(References references) {
    MessageBytes message(size());
    takeInto(message, references);
    return message;
}

std::size_t BatchWriter::takeInto(std::span<unsigned char> out, References references) {
    std::memcpy(out.data(), &beProcessBatchesUreq, sizeof(beProcessBatchesUreq));
    constexpr std::uint32_t reserved = 0;
    unsigned char* cursor = &out[procedureReferenceOffset];
    for (const std::size_t word :
         {std::size_t{references.procedure}, std::size_t{references.connection},
          std::size_t{reserved}, measurements.size(), counters.size(), records.size()}) {
        writeBigEndian32(static_cast<std::uint32_t>(word), cursor);
        cursor += 4;
    }
    for (MessageBytes* section : {&measurements, &counters, &records}) {
        cursor = std::copy(section->begin(), section->end(), cursor);
        section->clear();
    }
    return static_cast<std::size_t>(cursor - out.data());
}

bool BatchWriter::addInt64(MessageBytes& section, std::string_view name, std::string_view context,
                           std::int64_t value) {
    if (!beginItem(section, name, context, sizeof(value))) {
        return false;
    }
    appendInt64(section, value);
    return true;
}

bool BatchWriter::addInt64(MessageBytes& section, const SampleKey& key, std::int64_t value) {
    if (!beginItem(section, key, sizeof(value))) {
        return false;
    }
    appendInt64(section, value);
    return true;
}

bool BatchWriter::beginItem(MessageBytes& section, std::string_view name, std::string_view context,
                            std::size_t payloadSize) {
    requireSampleKey(name, context);
    const std::size_t contextSize = context.empty() ? 0 : context.size() + 1;
    if (!makeRoom(section, name, name.size() + contextSize + 1 + 4 + payloadSize)) {
        return false;
    }
    append(section, name);
    if (!context.empty()) {
        section.push_back(' ');
        append(section, context);
    }
    section.push_back('\0');
    appendUint32(section, static_cast<std::uint32_t>(payloadSize));
    return true;
}

bool BatchWriter::beginItem(MessageBytes& section, const SampleKey& key, std::size_t payloadSize) {
    if (!makeRoom(section, key.bytes(), sizeOfItem(key, payloadSize))) {
        return false;
    }
    append(section, key.bytes());
    appendUint32(section, static_cast<std::uint32_t>(payloadSize));
    return true;
}

// Room for a whole item before its first byte: what is added to the section then can't fail.
bool BatchWriter::makeRoom(MessageBytes& section, std::string_view key, std::size_t itemSize) {
    if (beProcessBatchesFixedSize + itemSize > maximumSize) {
        throw std::length_error("BatchWriter: \"" + std::string(key.substr(0, key.find('\0'))) +
                                "\" is larger than a whole message");
    }
    if (size() + itemSize > maximumSize) {
        return false;
    }
    const std::size_t needed = section.size() + itemSize;
    if (needed > section.capacity()) {
        section.reserve(std::max(needed, 2 * section.capacity()));
    }
    return true;
}

}  // namespace Qdx::V1
