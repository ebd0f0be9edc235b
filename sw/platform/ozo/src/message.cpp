#include "message.hpp"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

struct Block {
    std::size_t size = 0;
    Ozo::FrameHeader header;
};
// malloc aligns the block for any type; the message behind it must be aligned alike.
static_assert(sizeof(Block) % alignof(std::max_align_t) == 0);

Block* blockOf(ozo_msg* message) {
    return reinterpret_cast<Block*>(message) - 1;
}

const Block* blockOf(const ozo_msg* message) {
    return reinterpret_cast<const Block*>(message) - 1;
}

ozo_msg* initialise(void* memory, std::size_t size) {
    if (memory == nullptr)
        return nullptr;
    auto* block = static_cast<Block*>(memory);
    block->size = size;
    block->header = Ozo::FrameHeader{.sender = OZO_NO_MAILBOX};
    return reinterpret_cast<ozo_msg*>(block + 1);
}

}  // namespace

namespace Ozo {

MessagePtr makeMessage(std::size_t size) {
    return MessagePtr(initialise(std::malloc(sizeof(Block) + size), size));
}

std::span<std::byte> frameOf(ozo_msg& message) {
    Block* block = blockOf(&message);
    return {reinterpret_cast<std::byte*>(&block->header), sizeof block->header + block->size};
}

void setSender(ozo_msg& message, std::uint32_t sender) {
    blockOf(&message)->header.sender = sender;
}

}  // namespace Ozo

ozo_msg* ozo_alloc(size_t size, uint32_t msgno) {
    if (size < Ozo::minMessageSize || size > SIZE_MAX - sizeof(Block))
        return nullptr;
    ozo_msg* message = initialise(std::calloc(1, sizeof(Block) + size), size);
    if (message != nullptr)
        message->msgno = msgno;
    return message;
}

void ozo_free(ozo_msg* msg) {
    if (msg != nullptr)
        std::free(blockOf(msg));
}

uint32_t ozo_sender(const ozo_msg* msg) {
    return blockOf(msg)->header.sender;
}

size_t ozo_size(const ozo_msg* msg) {
    return blockOf(msg)->size;
}
