// A thread of one's own with a queue of functions to run on it.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace Tessel::ActiveObject::V1 {

// How the thread competes with others; the unit knows one policy.
enum class SchedulingPolicy : int { Default = 0 };

// An active object runs the function given to create() first, on a thread of its own, and then
// serves what was posted to it and the descriptors that services watch for it, until its last
// reference goes. The thread has a stack of at least 8 MiB.
//
// Releasing the last reference waits for the thread, with everything posted before it done; it may
// also happen on that very thread, inside a posted function, and then the thread ends by itself.
class ActiveObjectIf {
public:
    // name is the thread's name (15 characters of it show in the system's tools). Null if no thread
    // can be had. Exceptions that leave body or a posted function end the process: guard them.
    static std::shared_ptr<ActiveObjectIf> create(const std::string& name,
                                                  std::function<void()> body,
                                                  SchedulingPolicy policy);

    virtual ~ActiveObjectIf() = default;

    // Has the function run on the active object's thread, after all that was posted before. Any
    // thread may call it.
    virtual void runOnActiveObject(std::function<void()> function) = 0;
};

}  // namespace Tessel::ActiveObject::V1
