#include "refusedMessage.hpp"

#include <atomic>
#include <cstddef>

#include "ozo.h"

namespace {

constexpr std::uint32_t none = 0;
std::atomic<std::uint32_t> refused = none;

}  // namespace

// The linker sends calls of ozo_alloc to the second, and calls the original by the name of the
// first.
ozo_msg* originalAlloc(std::size_t size, std::uint32_t number) __asm__("__real_ozo_alloc");
ozo_msg* refusingAlloc(std::size_t size, std::uint32_t number) __asm__("__wrap_ozo_alloc");

ozo_msg* refusingAlloc(std::size_t size, std::uint32_t number) {
    return number == refused ? nullptr : originalAlloc(size, number);
}

namespace Qdx::Test {

RefusedMessage::RefusedMessage(std::uint32_t messageNumber) {
    refused = messageNumber;
}

RefusedMessage::~RefusedMessage() {
    refused = none;
}

}  // namespace Qdx::Test
