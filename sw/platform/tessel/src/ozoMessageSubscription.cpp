#include "tessel/ozoMessageSubscription.hpp"

#include <utility>

#include "loop.hpp"

namespace Tessel::OzoMessageSubscription::V1 {

namespace {

constexpr int noActiveObject = -1;

// Each thread's part of the service stands in its loop.
class Subscription final : public OzoMessageSubscriptionIf {
public:
    int addMailbox(int fd) override {
        auto* const loop = Loop::current();
        return loop == nullptr ? noActiveObject : loop->messages().watch(fd);
    }

    int addHandler(std::uint32_t messageNumber, Handler handler) override {
        auto* const loop = Loop::current();
        return loop == nullptr ? noActiveObject
                               : loop->messages().addHandler(messageNumber, std::move(handler));
    }

    std::uint64_t getUnhandled() const override {
        auto* const loop = Loop::current();
        return loop == nullptr ? 0 : loop->messages().unhandled();
    }
};

}  // namespace

OzoMessageSubscriptionIf& OzoMessageSubscriptionIf::getInstance() {
    static Subscription subscription;
    return subscription;
}

}  // namespace Tessel::OzoMessageSubscription::V1
