#include "batchWriter.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "wireFormat.hpp"

namespace Qdx::V1 {
namespace {

// What ends a word for the receiver, which reads the key text by stream extraction up to its NUL.
constexpr std::string_view wordEnds(" \t\n\v\f\r\0", 7);

void requireWord(std::string_view text) {
    if (text.find_first_of(wordEnds) != std::string_view::npos) {
        throw std::invalid_argument("BatchWriter: white space or NUL in \"" + std::string(text) +
                                    "\"");
    }
}

// Room for a whole item before its first byte: what is added to the section then can't fail.
void makeRoom(MessageBytes& section, std::size_t itemSize) {
    const std::size_t needed = section.size() + itemSize;
    if (needed > section.capacity()) {
        section.reserve(std::max(needed, 2 * section.capacity()));
    }
}

void append(MessageBytes& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
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
    records.insert(records.end(), payload.begin(), payload.end());
    return true;
}

bool BatchWriter::empty() const {
    return measurements.empty() && counters.empty() && records.empty();
}

MessageBytes BatchWriter::take(References references) {
    MessageBytes message;
    message.reserve(size());
    appendHeader(message, beProcessBatchesUreq, references);
    constexpr std::uint32_t reserved = 0;
    appendUint32(message, reserved);
    for (const MessageBytes* section : {&measurements, &counters, &records}) {
        appendUint32(message, static_cast<std::uint32_t>(section->size()));
    }
    for (MessageBytes* section : {&measurements, &counters, &records}) {
        message.insert(message.end(), section->begin(), section->end());
        section->clear();
    }
    return message;
}

bool BatchWriter::addInt64(MessageBytes& section, std::string_view name, std::string_view context,
                           std::int64_t value) {
    if (!beginItem(section, name, context, sizeof(value))) {
        return false;
    }
    appendInt64(section, value);
    return true;
}

bool BatchWriter::beginItem(MessageBytes& section, std::string_view name, std::string_view context,
                            std::size_t payloadSize) {
    if (name.empty()) {
        throw std::invalid_argument("BatchWriter: a sample needs a name");
    }
    requireWord(name);
    requireWord(context);
    const std::size_t contextSize = context.empty() ? 0 : context.size() + 1;
    const std::size_t itemSize = name.size() + contextSize + 1 + 4 + payloadSize;
    if (beProcessBatchesFixedSize + itemSize > maximumSize) {
        throw std::length_error("BatchWriter: \"" + std::string(name) +
                                "\" is larger than a whole message");
    }
    if (size() + itemSize > maximumSize) {
        return false;
    }
    makeRoom(section, itemSize);
    append(section, name);
    if (!context.empty()) {
        section.push_back(' ');
        append(section, context);
    }
    section.push_back('\0');
    appendUint32(section, static_cast<std::uint32_t>(payloadSize));
    return true;
}

std::size_t BatchWriter::size() const {
    return beProcessBatchesFixedSize + measurements.size() + counters.size() + records.size();
}

}  // namespace Qdx::V1
