#include "frontendMessages.hpp"

#include <cstring>
#include <new>
#include <string>

#include "InfoObjectCollections.pb.h"
#include "bigEndian.hpp"
#include "tessel/util.hpp"
#include "wireFormat.hpp"

namespace Qdx::V1 {
namespace {

std::uint32_t readMessageNumber(std::span<const unsigned char> message) {
    std::uint32_t number = 0;
    std::memcpy(&number, message.data(), sizeof(number));
    return number;
}

// Where the field of that many bytes at the end of out begins.
unsigned char* appendField(MessageBytes& out, std::size_t size) {
    out.resize(out.size() + size);
    return out.data() + out.size() - size;
}

}  // namespace

void appendHeader(MessageBytes& out, std::uint32_t number, References references) {
    std::memcpy(appendField(out, sizeof(number)), &number, sizeof(number));
    appendUint32(out, references.procedure);
    appendUint32(out, references.connection);
}

void appendUint32(MessageBytes& out, std::uint32_t value) {
    writeBigEndian32(value, appendField(out, sizeof(value)));
}

void appendInt64(MessageBytes& out, std::int64_t value) {
    writeBigEndian64(static_cast<std::uint64_t>(value), appendField(out, sizeof(value)));
}

MessageBytes encodeConnectionRequest(References references,
                                     const std::vector<std::uint32_t>& supportedRevisions) {
    MessageBytes message;
    appendHeader(message, beConnectionReq, references);
    appendUint32(message, static_cast<std::uint32_t>(supportedRevisions.size()));
    for (const std::uint32_t revision : supportedRevisions) {
        appendUint32(message, revision);
    }
    return message;
}

MessageBytes encodeMetaData(References references, const RadioMetaData& metaData) {
    const std::string serialized = metaData.SerializeAsString();
    const std::string text = Tessel::Util::Base64::encode({serialized.begin(), serialized.end()});
    MessageBytes message;
    appendHeader(message, beProcessMetaDataUreq, references);
    message.insert(message.end(), text.begin(), text.end());
    message.push_back('\0');
    return message;
}

std::optional<ConnectionReply> decodeConnectionReply(std::span<const unsigned char> message) {
    if (message.size() != beConnectionReplySize) {
        return std::nullopt;
    }
    const std::uint32_t number = readMessageNumber(message);
    if (number != beConnectionCfm && number != beConnectionRej) {
        return std::nullopt;
    }
    return ConnectionReply{.references = {.procedure = readBigEndian32(&message[4]),
                                          .connection = readBigEndian32(&message[8])},
                           .confirmed = number == beConnectionCfm,
                           .value = readBigEndian32(&message[headerSize])};
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

}  // namespace Qdx::V1
