// The participants that libraries have made known.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "tessel/startup.hpp"

namespace Tessel {

// Never destroyed: libraries come and go as they like.
class StartupRegistry {
public:
    using Factory = std::function<std::shared_ptr<Startup::V1::StartupParticipantIf>()>;

    static StartupRegistry& instance();

    void add(Factory factory);
    // What was added since the last call, in that order.
    std::vector<Factory> take();

private:
    std::mutex mutex_;
    std::vector<Factory> factories_;
};

}  // namespace Tessel
