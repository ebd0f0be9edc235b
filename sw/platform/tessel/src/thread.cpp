#include "thread.hpp"

#include <algorithm>
#include <exception>
#include <memory>
#include <system_error>
#include <utility>

namespace Tessel {

namespace {

using Body = std::function<void()>;

constexpr std::size_t leastStack = std::size_t{8} << 20;

void* run(void* body) {
    const std::unique_ptr<Body> owned(static_cast<Body*>(body));
    (*owned)();
    return nullptr;
}

class Attributes {
public:
    Attributes() {
        pthread_attr_init(&attributes_);
        std::size_t usual = 0;
        pthread_attr_getstacksize(&attributes_, &usual);
        pthread_attr_setstacksize(&attributes_, std::max(usual, leastStack));
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes() { pthread_attr_destroy(&attributes_); }

    const pthread_attr_t* get() const { return &attributes_; }

private:
    pthread_attr_t attributes_{};
};

}  // namespace

Thread::Thread(std::function<void()> body) {
    auto owned = std::make_unique<Body>(std::move(body));
    pthread_t handle{};
    if (const int error = pthread_create(&handle, Attributes().get(), run, owned.get())) {
        throw std::system_error(error, std::generic_category());
    }
    (void)owned.release();
    handle_ = handle;
}

Thread::Thread(Thread&& other) noexcept : handle_(std::exchange(other.handle_, std::nullopt)) {}

Thread& Thread::operator=(Thread&& other) noexcept {
    if (joinable()) {
        std::terminate();
    }
    handle_ = std::exchange(other.handle_, std::nullopt);
    return *this;
}

Thread::~Thread() {
    if (joinable()) {
        std::terminate();
    }
}

bool Thread::isCurrent() const {
    return joinable() && pthread_equal(*handle_, pthread_self()) != 0;
}

void Thread::join() {
    pthread_join(*std::exchange(handle_, std::nullopt), nullptr);
}

}  // namespace Tessel
