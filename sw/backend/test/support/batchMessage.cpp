#include "batchMessage.hpp"

#include <cstring>

#include "bigEndian.hpp"
#include "wireFormat.hpp"

namespace Qdx::Test {

namespace {

void add(std::vector<unsigned char>& bytes, const std::vector<unsigned char>& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

}  // namespace

std::vector<unsigned char> bigEndian(std::uint32_t number) {
    std::vector<unsigned char> bytes(4);
    V1::writeBigEndian32(number, bytes.data());
    return bytes;
}

std::vector<unsigned char> bigEndian(std::int64_t number) {
    std::vector<unsigned char> bytes(8);
    V1::writeBigEndian64(static_cast<std::uint64_t>(number), bytes.data());
    return bytes;
}

std::shared_ptr<ozo_msg> messageOf(std::uint32_t messageNumber,
                                   const std::vector<unsigned char>& behindFirstWord) {
    auto* msg = ozo_alloc(sizeof(ozo_msg) + behindFirstWord.size(), messageNumber);
    if (!behindFirstWord.empty()) {
        std::memcpy(msg + 1, behindFirstWord.data(), behindFirstWord.size());
    }
    return {msg, ozo_free};
}

void BatchMessage::append(Section& section, const std::string& keyText, std::uint32_t size,
                          const std::vector<unsigned char>& payload) {
    add(section.items, {keyText.begin(), keyText.end()});
    section.items.push_back(0);
    add(section.items, bigEndian(size));
    add(section.items, payload);
}

BatchMessage& BatchMessage::measurement(const std::string& keyText, std::int64_t value) {
    return measurementOfSize(keyText, 8, bigEndian(value));
}

BatchMessage& BatchMessage::counter(const std::string& keyText, std::int64_t value) {
    return counterOfSize(keyText, 8, bigEndian(value));
}

BatchMessage& BatchMessage::record(const std::string& keyText,
                                   const std::vector<unsigned char>& bytes) {
    return recordOfSize(keyText, static_cast<std::uint32_t>(bytes.size()), bytes);
}

BatchMessage& BatchMessage::measurementOfSize(const std::string& keyText, std::uint32_t size,
                                              const std::vector<unsigned char>& payload) {
    append(measurements, keyText, size, payload);
    return *this;
}

BatchMessage& BatchMessage::counterOfSize(const std::string& keyText, std::uint32_t size,
                                          const std::vector<unsigned char>& payload) {
    append(counters, keyText, size, payload);
    return *this;
}

BatchMessage& BatchMessage::recordOfSize(const std::string& keyText, std::uint32_t size,
                                         const std::vector<unsigned char>& payload) {
    append(records, keyText, size, payload);
    return *this;
}

BatchMessage& BatchMessage::claimMeasurementBytes(std::uint32_t bytes) {
    measurements.claimed = bytes;
    return *this;
}

BatchMessage& BatchMessage::claimCounterBytes(std::uint32_t bytes) {
    counters.claimed = bytes;
    return *this;
}

BatchMessage& BatchMessage::claimRecordBytes(std::uint32_t bytes) {
    records.claimed = bytes;
    return *this;
}

BatchMessage& BatchMessage::cutTo(std::size_t size) {
    cut = size;
    return *this;
}

std::vector<unsigned char> BatchMessage::bytes() const {
    std::vector<unsigned char> all(V1::headerSize + 4);  // references and the reserved word
    const auto number = V1::beProcessBatchesUreq;
    std::memcpy(all.data(), &number, sizeof(number));
    for (const auto* section : {&measurements, &counters, &records}) {
        add(all, bigEndian(
                     section->claimed.value_or(static_cast<std::uint32_t>(section->items.size()))));
    }
    for (const auto* section : {&measurements, &counters, &records}) {
        add(all, section->items);
    }
    all.resize(cut.value_or(all.size()));
    return all;
}

std::shared_ptr<ozo_msg> BatchMessage::message() const {
    const auto all = bytes();
    return messageOf(V1::beProcessBatchesUreq, {all.begin() + sizeof(ozo_msg), all.end()});
}

}  // namespace Qdx::Test
