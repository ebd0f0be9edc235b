#include "wireFormat.hpp"

#include <cstring>
#include <new>

#include "InfoObjectCollections.pb.h"
#include "tessel/util.hpp"

namespace Qdx::Frontend {
namespace {

constexpr std::size_t wordSize = sizeof(std::uint32_t);
constexpr std::size_t replySize = headerSize + wordSize;

template <typename T>
void appendBigEndian(Bytes& out, T value) {
    for (std::size_t shift = 8 * sizeof(T); shift > 0;) {
        shift -= 8;
        out.push_back(static_cast<unsigned char>(value >> shift));
    }
}

void appendHeader(Bytes& out, std::uint32_t number, References references) {
    appendMessageNumber(out, number);
    appendUint32(out, references.procedure);
    appendUint32(out, references.connection);
}

std::uint32_t readMessageNumber(std::span<const unsigned char> message) {
    std::uint32_t number = 0;
    std::memcpy(&number, message.data(), sizeof(number));
    return number;
}

std::uint32_t readUint32(std::span<const unsigned char> message, std::size_t offset) {
    std::uint32_t value = 0;
    for (const unsigned char byte : message.subspan(offset, wordSize)) {
        value = value << 8 | byte;
    }
    return value;
}

}  // namespace

void appendMessageNumber(Bytes& out, std::uint32_t number) {
    const std::size_t offset = out.size();
    out.resize(offset + sizeof(number));
    std::memcpy(out.data() + offset, &number, sizeof(number));
}

void appendUint32(Bytes& out, std::uint32_t value) {
    appendBigEndian(out, value);
}

void appendInt64(Bytes& out, std::int64_t value) {
    appendBigEndian(out, static_cast<std::uint64_t>(value));
}

Bytes encodeConnectionRequest(References references,
                              const std::vector<std::uint32_t>& supportedRevisions) {
    Bytes message;
    appendHeader(message, beConnectionReq, references);
    appendUint32(message, static_cast<std::uint32_t>(supportedRevisions.size()));
    for (const std::uint32_t revision : supportedRevisions) {
        appendUint32(message, revision);
    }
    return message;
}

Bytes encodeMetaData(References references, const RadioMetaData& metaData) {
    const std::string serialized = metaData.SerializeAsString();
    const std::string text = Tessel::Util::Base64::encode({serialized.begin(), serialized.end()});
    Bytes message;
    appendHeader(message, beProcessMetaDataUreq, references);
    message.insert(message.end(), text.begin(), text.end());
    message.push_back('\0');
    return message;
}

std::optional<ConnectionReply> decodeConnectionReply(std::span<const unsigned char> message) {
    if (message.size() != replySize) {
        return std::nullopt;
    }
    const std::uint32_t number = readMessageNumber(message);
    if (number != beConnectionCfm && number != beConnectionRej) {
        return std::nullopt;
    }
    return ConnectionReply{.references = {.procedure = readUint32(message, wordSize),
                                          .connection = readUint32(message, 2 * wordSize)},
                           .confirmed = number == beConnectionCfm,
                           .value = readUint32(message, headerSize)};
}

ozo_msg* toOzoMessage(std::span<const unsigned char> bytes) {
    ozo_msg* message = ozo_alloc(bytes.size(), readMessageNumber(bytes));
    if (message == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(message, bytes.data(), bytes.size());
    return message;
}

std::span<const unsigned char> bytesOf(const ozo_msg* message) {
    return {reinterpret_cast<const unsigned char*>(message), ozo_size(message)};
}

}  // namespace Qdx::Frontend
