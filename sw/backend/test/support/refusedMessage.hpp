// A message service without memory for one kind of message.
#pragma once

#include <cstdint>

namespace Qdx::Test {

// While it lives, ozo_alloc gives null for messages of that number, on any thread. One at a time.
// Needs a program linked with --wrap=ozo_alloc.
class RefusedMessage {
public:
    explicit RefusedMessage(std::uint32_t messageNumber);
    ~RefusedMessage();
    RefusedMessage(const RefusedMessage&) = delete;
    RefusedMessage& operator=(const RefusedMessage&) = delete;
};

}  // namespace Qdx::Test
