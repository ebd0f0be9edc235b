// The messages between frontends and the collector, byte for byte.
//
//     connection request   number, procedure, connection, revision count, revisions...
//     connection reply     number, procedure, connection, selected revision or reject reason
//     metadata             number, procedure, connection, base64 text of a RadioMetaData, NUL
//     batch                see batchWriter.hpp
//
// Every field is 4 bytes, big-endian, except the number in front: it is the word of the message
// service and stands in host byte order. Nothing here keeps state, so any thread may call.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "ozo.h"

namespace Qdx {
class RadioMetaData;
}

namespace Qdx::Frontend {

// A whole message from its number on.
using Bytes = std::vector<unsigned char>;

// The mailbox that the collector answers to.
inline constexpr char collectorMailbox[] = "QuardexBeI";

inline constexpr std::uint32_t beConnectionReq = 0x017070C0;
inline constexpr std::uint32_t beConnectionCfm = 0x017070C1;
inline constexpr std::uint32_t beConnectionRej = 0x017070C2;
inline constexpr std::uint32_t beProcessBatchesUreq = 0x017070C3;
inline constexpr std::uint32_t beProcessMetaDataUreq = 0x017070C6;

// The revision of the protocol that is written here.
inline constexpr std::uint32_t protocolRevision = 1;

// What every message carries behind its number.
struct References {
    std::uint32_t procedure = 0;   // the frontend's choice; comes back unchanged in the reply
    std::uint32_t connection = 0;  // 1 in replies; the collector ignores that of requests
};
inline constexpr std::size_t headerSize = 4 + 4 + 4;

Bytes encodeConnectionRequest(References references,
                              const std::vector<std::uint32_t>& supportedRevisions);
Bytes encodeMetaData(References references, const RadioMetaData& metaData);

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

// The fields of messages, for whoever writes one by hand.
void appendMessageNumber(Bytes& out, std::uint32_t number);
void appendUint32(Bytes& out, std::uint32_t value);
void appendInt64(Bytes& out, std::int64_t value);

}  // namespace Qdx::Frontend
