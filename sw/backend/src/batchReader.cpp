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
    std::string_view text;
    if (!peekKey(text)) {
        return false;
    }
    item.name = cutWord(text);
    item.context = cutWord(text);

    auto headBytes = item.name.size() + 1;
    if (!item.context.empty()) {
        headBytes += item.context.size() + 1;
    }
    return readSizeBehind(headBytes, item.size);
}

}  // namespace Qdx::Backend
