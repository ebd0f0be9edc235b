// Datagrams from a peer: what passes for a frame has a size that a message can have and a sender
// that a mailbox can be, and is, bit by bit, the frame that its header and its message make.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

#include "frame.hpp"
#include "message.hpp"

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

void requireSameFrame(std::span<const std::byte> datagram, const Ozo::FrameHeader& header) {
    const auto payload = datagram.subspan(sizeof header);
    const Ozo::MessagePtr message = Ozo::makeMessage(payload.size());
    require(message != nullptr);
    std::memcpy(message.get(), payload.data(), payload.size());
    Ozo::setSender(*message, header.sender);
    const auto frame = Ozo::frameOf(*message);
    require(frame.size() == datagram.size());
    require(std::memcmp(frame.data(), datagram.data(), frame.size()) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto datagram = std::as_bytes(std::span(data, size));
    const auto header = Ozo::decodeFrame(datagram);
    if (!header)
        return 0;
    require(Ozo::isFrameSize(size));
    require(header->protocol == Ozo::frameProtocol);
    require(Ozo::isMailboxId(header->sender));
    requireSameFrame(datagram, *header);
    return 0;
}
