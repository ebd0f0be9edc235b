#include "tessel/startup.hpp"

#include "startupRegistry.hpp"

namespace Tessel {

StartupRegistry& StartupRegistry::instance() {
    static auto* const registry = new StartupRegistry;
    return *registry;
}

void StartupRegistry::add(Factory factory) {
    const std::lock_guard lock(mutex_);
    factories_.push_back(std::move(factory));
}

std::vector<StartupRegistry::Factory> StartupRegistry::take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(factories_, {});
}

namespace Startup::V1 {

StartupRegistrar::StartupRegistrar(std::function<std::shared_ptr<StartupParticipantIf>()> factory) {
    StartupRegistry::instance().add(std::move(factory));
}

}  // namespace Startup::V1

}  // namespace Tessel
