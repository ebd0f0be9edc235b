// The messages that a frontend sends, except batches, and the replies it gets. wireFormat.hpp draws
// them. Nothing here keeps state, so any thread may call.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "ozo.h"

namespace Qdx {
class RadioMetaData;
}

namespace Qdx::V1 {

// A whole message, its number included.
using MessageBytes = std::vector<unsigned char>;

// What every message carries behind its number.
struct References {
    std::uint32_t procedure = 0;   // the frontend's choice; comes back unchanged in the reply
    std::uint32_t connection = 0;  // 1 in replies; the collector ignores that of requests
};

MessageBytes encodeConnectionRequest(References references,
                                     const std::vector<std::uint32_t>& supportedRevisions);
MessageBytes encodeMetaData(References references, const RadioMetaData& metaData);

// The collector's answer to a connection request.
struct ConnectionReply {
    References references;
    bool confirmed = false;
    std::uint32_t value = 0;  // the selected revision if confirmed, the reject reason if not
};
// Empty if the message is none of the two replies or its size is not theirs.
std::optional<ConnectionReply> decodeConnectionReply(std::span<const unsigned char> message);

// Copies the bytes into a message of the message service, which the caller sends or frees. Throws
// std::bad_alloc. REQUIRES: at least the 4 bytes of the number.
ozo_msg* toOzoMessage(std::span<const unsigned char> bytes);

// The bytes of a message, valid as long as the message.
std::span<const unsigned char> bytesOf(const ozo_msg* message);

// Fields of a message under construction.
void appendHeader(MessageBytes& out, std::uint32_t number, References references);
void appendUint32(MessageBytes& out, std::uint32_t value);
void appendInt64(MessageBytes& out, std::int64_t value);

}  // namespace Qdx::V1
