// What travels in one datagram between two mailboxes.
//
//     offset 0, 4 bytes: "ozo" and the version of this layout, as one word
//     offset 4, 4 bytes: the sender's mailbox
//     offset 8, the rest: the message, its number first
//
// All words are in host byte order: both ends are on one machine. The size of the message is the
// datagram's, less this header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace Ozo {

inline constexpr std::uint32_t frameProtocol = 0x6F7A6F01;

struct FrameHeader {
    std::uint32_t protocol = frameProtocol;
    std::uint32_t sender = 0;
};
static_assert(sizeof(FrameHeader) == 4 + 4);

// A message holds at least its number, and at most what the largest setting of a receiver allows.
inline constexpr std::size_t minMessageSize = 4;
inline constexpr std::size_t maxMessageSize = std::size_t{128} * 1024;
inline constexpr std::size_t minFrameSize = sizeof(FrameHeader) + minMessageSize;
inline constexpr std::size_t maxFrameSize = sizeof(FrameHeader) + maxMessageSize;

// Whether a mailbox can have that id: 0 and the constants of ozo.h stand for none.
bool isMailboxId(std::uint32_t id);

// Whether a datagram of that size can be a frame.
bool isFrameSize(std::size_t size);

// The header of a datagram that came from a peer; empty if it is no frame.
std::optional<FrameHeader> decodeFrame(std::span<const std::byte> datagramUntrusted);

}  // namespace Ozo
