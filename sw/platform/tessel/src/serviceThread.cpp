#include "serviceThread.hpp"

#include <utility>

#include "activeObjectImpl.hpp"
#include "loop.hpp"

namespace Tessel {

using ActiveObject::V1::ActiveObjectIf;
using ActiveObject::V1::SchedulingPolicy;

ServiceThread& ServiceThread::instance() {
    static auto* const thread = new ServiceThread;
    return *thread;
}

std::shared_ptr<Loop> ServiceThread::loop() {
    const std::lock_guard lock(mutex_);
    if (activeObject_ == nullptr && !released_) {
        activeObject_ = ActiveObjectIf::create(
            "TesselService", [] {}, SchedulingPolicy::Default);
    }
    if (activeObject_ == nullptr) {
        return nullptr;
    }
    return static_cast<ActiveObjectImpl&>(*activeObject_).loop();
}

void ServiceThread::release() {
    std::shared_ptr<ActiveObjectIf> last;
    {
        const std::lock_guard lock(mutex_);
        released_ = true;
        last = std::exchange(activeObject_, nullptr);
    }
}

std::shared_ptr<Loop> loopForCallbacks() {
    if (auto* const loop = Loop::current()) {
        return loop->shared_from_this();
    }
    return ServiceThread::instance().loop();
}

}  // namespace Tessel
