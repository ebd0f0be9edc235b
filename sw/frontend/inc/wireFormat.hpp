// The messages between frontends and the collector: numbers and layout. Every number in them is
// big-endian but the message number itself, which is the message service's own word.
//
//     all       0 message number   4 procedure reference   8 connection reference
//     Req      12 number of revisions   16 revisions, 4 bytes each
//     Cfm      12 selected revision
//     Rej      12 reason
//     MetaData 12 base64 of a serialised RadioMetaData, NUL
//     Batches  12 reserved   16 bytes of measurements   20 bytes of counters   24 bytes of records
//              28 items of measurements, of counters, of records
//
//     item     key text ("name" or "name context"), NUL, payload size in 4 bytes, payload
//
// The payload of a measurement or a counter is a signed 64-bit number; that of a record is any
// bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Qdx::V1 {

inline constexpr char collectorMailbox[] = "QuardexBeI";

inline constexpr std::uint32_t beConnectionReq = 0x017070C0;
inline constexpr std::uint32_t beConnectionCfm = 0x017070C1;
inline constexpr std::uint32_t beConnectionRej = 0x017070C2;
inline constexpr std::uint32_t beProcessBatchesUreq = 0x017070C3;
inline constexpr std::uint32_t beProcessMetaDataUreq = 0x017070C6;

// Offsets of fields, and sizes of what stands at fixed offsets.
inline constexpr std::size_t procedureReferenceOffset = 4;
inline constexpr std::size_t connectionReferenceOffset = 8;
inline constexpr std::size_t headerSize = 4 + 4 + 4;
inline constexpr std::size_t revisionCountOffset = headerSize;
inline constexpr std::size_t replyValueOffset = headerSize;
inline constexpr std::size_t measurementBytesOffset = headerSize + 4;
inline constexpr std::size_t counterBytesOffset = headerSize + 4 + 4;
inline constexpr std::size_t recordBytesOffset = headerSize + 4 + 4 + 4;
inline constexpr std::size_t beConnectionReqFixedSize = headerSize + 4;
inline constexpr std::size_t beConnectionReplySize = headerSize + 4;
inline constexpr std::size_t beProcessBatchesFixedSize = headerSize + 4 + 4 + 4 + 4;

inline constexpr std::uint32_t protocolRevision = 1;
// The connection reference of every reply, and the only reason of a rejection: no common revision.
inline constexpr std::uint32_t connectionReference = 1;
inline constexpr std::uint32_t rejectReasonNoCommonRevision = 1;

}  // namespace Qdx::V1
