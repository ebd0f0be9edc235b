#include "frame.hpp"

#include <cstring>

#include "ozo.h"

namespace Ozo {

bool isMailboxId(std::uint32_t id) {
    return id != 0 && id != OZO_NO_MAILBOX && id != OZO_MY_MAILBOX;
}

bool isFrameSize(std::size_t size) {
    return size >= minFrameSize && size <= maxFrameSize;
}

std::optional<FrameHeader> decodeFrame(std::span<const std::byte> datagramUntrusted) {
    if (!isFrameSize(datagramUntrusted.size()))
        return std::nullopt;
    FrameHeader header{};
    std::memcpy(&header, datagramUntrusted.data(), sizeof header);
    if (header.protocol != frameProtocol || !isMailboxId(header.sender))
        return std::nullopt;
    return header;
}

}  // namespace Ozo
