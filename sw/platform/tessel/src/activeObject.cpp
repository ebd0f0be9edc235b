#include "tessel/activeObject.hpp"

#include <pthread.h>

#include <system_error>
#include <utility>

#include "activeObjectImpl.hpp"
#include "loop.hpp"

namespace Tessel {

namespace {

// The longest name of a thread that the kernel keeps.
constexpr std::size_t maxThreadName = 15;

void serve(std::shared_ptr<Loop> loop, LiveLoops::Ticket ticket, const std::string& name,
           std::function<void()> body) {
    pthread_setname_np(pthread_self(), name.substr(0, maxThreadName).c_str());
    loop->run(std::move(body));
    // What the loop still holds goes while the process knows of this thread.
    loop.reset();
    LiveLoops::instance().remove(ticket);
}

}  // namespace

ActiveObjectImpl::ActiveObjectImpl() : loop_(std::make_shared<Loop>()) {}

void ActiveObjectImpl::start(const std::string& name, std::function<void()> body) {
    ticket_ = LiveLoops::instance().add(loop_);
    try {
        thread_ = Thread([loop = loop_, ticket = ticket_, name, body = std::move(body)]() mutable {
            serve(std::move(loop), ticket, name, std::move(body));
        });
    } catch (const std::system_error&) {
        LiveLoops::instance().remove(ticket_);
        throw;
    }
}

ActiveObjectImpl::~ActiveObjectImpl() {
    if (!thread_.joinable()) {
        return;
    }
    if (thread_.isCurrent()) {
        LiveLoops::instance().park(ticket_, std::move(thread_));
        loop_->finish();
        return;
    }
    loop_->finish();
    thread_.join();
}

void ActiveObjectImpl::runOnActiveObject(std::function<void()> function) {
    loop_->post(std::move(function));
}

namespace ActiveObject::V1 {

std::shared_ptr<ActiveObjectIf> ActiveObjectIf::create(const std::string& name,
                                                       std::function<void()> body,
                                                       SchedulingPolicy /*policy*/) {
    LiveLoops::instance().joinParked();
    try {
        auto object = std::make_shared<ActiveObjectImpl>();
        object->start(name, std::move(body));
        return object;
    } catch (const std::system_error&) {
        return nullptr;
    }
}

}  // namespace ActiveObject::V1

}  // namespace Tessel
