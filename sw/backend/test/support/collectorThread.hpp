// A collector that a test can reach into.
#pragma once

#include <functional>
#include <future>
#include <memory>

#include "ozo.h"
#include "quardex.hpp"
#include "tessel/activeObject.hpp"

namespace Qdx::Test {

// Runs the collector's start on an active object of the test's, which has prepared something
// before, and functions of the test on it afterwards. The collector must outlive it.
class CollectorThread {
public:
    CollectorThread(Backend::Quardex& collector, const std::function<void()>& prepare) {
        using namespace Tessel::ActiveObject::V1;
        std::promise<void> done;
        thread = ActiveObjectIf::create(
            "prepared",
            [&] {
                prepare();
                collector.activeObjectStart();
                done.set_value();
            },
            SchedulingPolicy::Default);
        done.get_future().wait();
    }

    ~CollectorThread() {
        run([] { ozo_delete_mailbox(ozo_locate("QuardexBeI")); });
    }
    CollectorThread(const CollectorThread&) = delete;
    CollectorThread& operator=(const CollectorThread&) = delete;

    void run(const std::function<void()>& function) {
        std::promise<void> done;
        thread->runOnActiveObject([&] {
            function();
            done.set_value();
        });
        done.get_future().wait();
    }

private:
    std::shared_ptr<Tessel::ActiveObject::V1::ActiveObjectIf> thread;
};

}  // namespace Qdx::Test
