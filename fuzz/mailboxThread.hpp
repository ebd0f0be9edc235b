// A mailbox on a thread of its own, for targets that need a second one.
#pragma once

#include <functional>
#include <future>
#include <memory>
#include <string>

#include "ozo.h"
#include "pieces.hpp"
#include "tessel/activeObject.hpp"

namespace Qdx::Fuzz {

// Each run() has run there when it returns, so that an input is a sequence and not a race.
class MailboxThread {
public:
    explicit MailboxThread(const std::string& name) {
        run([this, name] { mailbox = ozo_create_mailbox(name.c_str(), 0); });
        require(mailbox != OZO_NO_MAILBOX);
    }
    ~MailboxThread() {
        run([this] { ozo_delete_mailbox(mailbox); });
    }
    MailboxThread(const MailboxThread&) = delete;
    MailboxThread& operator=(const MailboxThread&) = delete;

    std::uint32_t id() const { return mailbox; }

    void run(const std::function<void()>& function) const {
        std::promise<void> done;
        thread->runOnActiveObject([&] {
            function();
            done.set_value();
        });
        done.get_future().wait();
    }

private:
    using ActiveObjectIf = Tessel::ActiveObject::V1::ActiveObjectIf;
    const std::shared_ptr<ActiveObjectIf> thread = ActiveObjectIf::create(
        "MailboxThread", [] {}, Tessel::ActiveObject::V1::SchedulingPolicy{0});
    std::uint32_t mailbox = OZO_NO_MAILBOX;
};

}  // namespace Qdx::Fuzz
