#include "messageFault.hpp"

#include "ozo.h"

namespace {

thread_local bool refuses = false;

}  // namespace

// The linker gives the names that are asked for here.
extern "C" {
ozo_msg* realAlloc(size_t size, uint32_t msgno) __asm__("__real_ozo_alloc");
ozo_msg* wrappedAlloc(size_t size, uint32_t msgno) __asm__("__wrap_ozo_alloc");

ozo_msg* wrappedAlloc(size_t size, uint32_t msgno) {
    return refuses ? nullptr : realAlloc(size, msgno);
}
}

namespace Qdx::Frontend {

MessageFault::MessageFault() {
    refuses = true;
}

MessageFault::~MessageFault() {
    refuses = false;
}

}  // namespace Qdx::Frontend
