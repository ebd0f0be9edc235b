#include "tessel/ozoMailboxMonitor.hpp"

#include <unistd.h>

#include <future>
#include <memory>
#include <string>
#include <utility>

#include "loop.hpp"
#include "serviceThread.hpp"

namespace Tessel::OzoMailboxMonitor::V1 {

namespace {

using Callback = std::function<void(std::uint32_t)>;

enum Refusal : int { noCallback = -1, noServiceThread = -2, noMailbox = -3 };

// The callback, handed over to the loop that it belongs to.
Callback relay(const std::shared_ptr<Loop>& loop, Callback callback) {
    return [weak = std::weak_ptr<Loop>(loop), callback = std::move(callback)](std::uint32_t gone) {
        if (const auto asker = weak.lock()) {
            asker->post([asker = asker.get(), callback, gone] {
                if (asker->delivers()) {
                    callback(gone);
                }
            });
        }
    };
}

// On the service thread, which gets its mailbox with the first request.
int monitorHere(Loop& service, std::uint32_t mailbox, const Callback& callback) {
    if (!service.messages().watching()) {
        const auto name = "tessel.service." + std::to_string(getpid());
        if (ozo_create_mailbox(name.c_str(), 0) == OZO_NO_MAILBOX ||
            service.messages().watch(ozo_get_fd()) != 0) {
            return noMailbox;
        }
    }
    return service.monitors().add(mailbox, callback);
}

int monitorOnServiceThread(std::uint32_t mailbox, Callback callback) {
    auto service = ServiceThread::instance().loop();
    if (service == nullptr) {
        return noServiceThread;
    }
    if (service.get() == Loop::current()) {
        return monitorHere(*service, mailbox, callback);
    }
    auto asked = std::make_shared<std::promise<int>>();
    auto result = asked->get_future();
    service->post(
        [service = service.get(), mailbox, callback = std::move(callback),
         asked = std::move(asked)] { asked->set_value(monitorHere(*service, mailbox, callback)); });
    // Not held any longer: if the thread ends before it gets to the question, this goes with the
    // loop.
    service.reset();
    try {
        return result.get();
    } catch (const std::future_error&) {
        return noServiceThread;
    }
}

class Monitor final : public OzoMailboxMonitorIf {
public:
    int monitorMailbox(std::uint32_t mailbox, Callback callback) override {
        if (!callback) {
            return noCallback;
        }
        auto* const loop = Loop::current();
        if (loop == nullptr) {
            return monitorOnServiceThread(mailbox, std::move(callback));
        }
        // Through the asker's own mailbox the news stays behind the last messages of the one that
        // is gone.
        if (loop->messages().watching()) {
            return loop->monitors().add(mailbox, std::move(callback));
        }
        return monitorOnServiceThread(mailbox,
                                      relay(loop->shared_from_this(), std::move(callback)));
    }
};

}  // namespace

OzoMailboxMonitorIf& OzoMailboxMonitorIf::getInstance() {
    static Monitor monitor;
    return monitor;
}

}  // namespace Tessel::OzoMailboxMonitor::V1
