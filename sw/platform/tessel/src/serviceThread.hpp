// The thread on which services call back those who have no active object.
#pragma once

#include <memory>
#include <mutex>

#include "tessel/activeObject.hpp"

namespace Tessel {

class Loop;

// Made when first asked for; never destroyed, since a process may end without release(). Any thread
// may call.
class ServiceThread {
public:
    static ServiceThread& instance();

    // Null if no thread can be had, and after release().
    std::shared_ptr<Loop> loop();

    // Ends the thread for good.
    void release();

private:
    std::mutex mutex_;
    std::shared_ptr<ActiveObject::V1::ActiveObjectIf> activeObject_;
    bool released_ = false;
};

// The loop of the calling thread, or else the service thread's; null if there is neither.
std::shared_ptr<Loop> loopForCallbacks();

}  // namespace Tessel
