#include "messageFault.hpp"

#include "ozo.h"

namespace {

thread_local bool refuses = false;

}  // namespace

// The names are those that the linker gives.
extern "C" {
ozo_msg* __real_ozo_alloc(size_t size, uint32_t msgno);

ozo_msg* __wrap_ozo_alloc(size_t size, uint32_t msgno) {
    return refuses ? nullptr : __real_ozo_alloc(size, msgno);
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
