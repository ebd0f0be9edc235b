// The block of memory that a message is.
//
// The frame header stands right in front of what the user sees, so that a whole frame is sent from
// and received into the block in one piece:
//
//     size | frame header (protocol, sender) | ozo_msg (number, payload)
//                                              ^ what ozo_alloc and ozo_receive give
#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "frame.hpp"
#include "ozo.h"

namespace Ozo {

struct FreeMessage {
    void operator()(ozo_msg* message) const { ozo_free(message); }
};
using MessagePtr = std::unique_ptr<ozo_msg, FreeMessage>;

// A message of that size in bytes, its contents not yet set; null if memory is out. REQUIRES: size
// >= minMessageSize.
MessagePtr makeMessage(std::size_t size);

// The part of the block that travels.
std::span<std::byte> frameOf(ozo_msg& message);

void setSender(ozo_msg& message, std::uint32_t sender);

}  // namespace Ozo
