// The items of a batch message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "bigEndian.hpp"
#include "wireFormat.hpp"

namespace Qdx::Backend {

// The head of an item. Read one after the other into one object, heads stop allocating once its
// strings have grown.
struct BatchItem {
    std::string name;
    std::uint32_t size = 0;
    std::string context;  // empty when the key text holds one word
};

// Cuts a batch message in place. Nothing that the message says is believed beyond its own end.
//
//     BatchReader batch(message);
//     while (batch.isBefore(batch.measurementEnd())) {
//         if (!batch.readHead(item) || !batch.readPayload(item.size, payload)) ...  // it lies
//     }
//
// The message must outlive the reader and the payloads.
class BatchReader {
public:
    static constexpr std::size_t fixedSize = V1::beProcessBatchesFixedSize;

    // REQUIRES: message.size() >= fixedSize.
    explicit BatchReader(std::span<const unsigned char> message);

    // Offsets behind the last byte of each section, as the message claims them.
    std::uint64_t measurementEnd() const { return measurementEndUntrusted; }
    std::uint64_t counterEnd() const { return counterEndUntrusted; }
    std::uint64_t recordEnd() const { return recordEndUntrusted; }

    bool isBefore(std::uint64_t end) const { return cursor < end; }

    // Gives the key text of the next head and stays in front of it; false when the text would run
    // past the message.
    bool peekKey(std::string_view& key) const {
        const auto* text = reinterpret_cast<const char*>(message.data()) + cursor;
        const auto* nul = static_cast<const char*>(std::memchr(text, 0, message.size() - cursor));
        if (nul == nullptr) {
            return false;
        }
        key = {text, static_cast<std::size_t>(nul - text)};
        return true;
    }

    // Reads the head of a key that was peeked, whose text is one word, or two with one blank
    // between them. False, with the cursor where it was, when the head would run past the message.
    bool readHeadOf(std::string_view key, std::uint32_t& size) {
        return readSizeBehind(key.size() + 1, size);
    }

    // Reads a head and moves behind it, by the length of its words and one byte each: key texts
    // have exactly one blank. False, with the cursor where it was, when the head would run past the
    // message.
    bool readHead(BatchItem& item);

    // Gives the next size bytes and moves behind them; false when they would run past the message.
    bool readPayload(std::size_t size, std::span<const unsigned char>& payload) {
        if (message.size() - cursor < size) {
            return false;
        }
        payload = message.subspan(cursor, size);
        cursor += size;
        return true;
    }

    std::size_t offset() const { return cursor; }

private:
    bool readSizeBehind(std::size_t headBytes, std::uint32_t& size) {
        const auto sizeOffset = cursor + headBytes;
        if (message.size() - sizeOffset < sizeof(size)) {
            return false;
        }
        size = V1::readBigEndian32(&message[sizeOffset]);
        cursor = sizeOffset + sizeof(size);
        return true;
    }

    std::span<const unsigned char> message;
    std::uint64_t measurementEndUntrusted;
    std::uint64_t counterEndUntrusted;
    std::uint64_t recordEndUntrusted;
    std::size_t cursor = fixedSize;
};

}  // namespace Qdx::Backend
