#include "batchReader.hpp"

#include <algorithm>
#include <string_view>

#include "bigEndian.hpp"

namespace Qdx::Backend {

namespace {

// What stream extraction takes for white space.
constexpr std::string_view blanks = " \t\n\v\f\r";

// Cuts the first word off text.
std::string_view cutWord(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    const auto word = text.substr(0, text.find_first_of(blanks));
    text.remove_prefix(word.size());
    return word;
}

}  // namespace

BatchReader::BatchReader(std::span<const unsigned char> batch)
    : message(batch),
      measurementEndUntrusted(std::uint64_t{fixedSize} +
                              V1::readBigEndian32(&batch[V1::measurementBytesOffset])),
      counterEndUntrusted(measurementEndUntrusted +
                          V1::readBigEndian32(&batch[V1::counterBytesOffset])),
      recordEndUntrusted(counterEndUntrusted + V1::readBigEndian32(&batch[V1::recordBytesOffset])) {
}

bool BatchReader::readHead(BatchItem& item) {
    const auto rest = message.subspan(cursor);
    const auto nul = std::find(rest.begin(), rest.end(), 0);
    if (nul == rest.end()) {
        return false;
    }
    std::string_view text(reinterpret_cast<const char*>(rest.data()),
                          static_cast<std::size_t>(nul - rest.begin()));
    item.name = cutWord(text);
    item.context = cutWord(text);

    auto sizeOffset = cursor + item.name.size() + 1;
    if (!item.context.empty()) {
        sizeOffset += item.context.size() + 1;
    }
    if (message.size() - sizeOffset < sizeof(item.size)) {
        return false;
    }
    item.size = V1::readBigEndian32(&message[sizeOffset]);
    cursor = sizeOffset + sizeof(item.size);
    return true;
}

bool BatchReader::readPayload(std::size_t size, std::span<const unsigned char>& payload) {
    if (message.size() - cursor < size) {
        return false;
    }
    payload = message.subspan(cursor, size);
    cursor += size;
    return true;
}

}  // namespace Qdx::Backend
