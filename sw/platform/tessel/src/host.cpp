#include "tessel/host.hpp"

#include "commandRegistryImpl.hpp"
#include "liveLoops.hpp"
#include "serviceThread.hpp"
#include "startupRegistry.hpp"

namespace Tessel::Host::V1 {

namespace {

LiveLoops::Deadline after(Host::Patience patience) {
    return std::chrono::steady_clock::now() + patience;
}

}  // namespace

std::size_t Host::startParticipants() {
    std::size_t started = 0;
    for (const auto& factory : StartupRegistry::instance().take()) {
        auto participant = factory();
        if (participant == nullptr) {
            continue;
        }
        participant->start();
        participants_.push_back(std::move(participant));
        ++started;
    }
    return started;
}

bool Host::waitUntilStarted(Patience patience) {
    return LiveLoops::instance().settle(after(patience));
}

bool Host::stopDelivery(Patience patience) {
    return LiveLoops::instance().stopDelivery(after(patience));
}

void Host::releaseParticipants() {
    while (!participants_.empty()) {
        participants_.pop_back();
    }
}

bool Host::finish(Patience patience) {
    CommandRegistryImpl::instance().clear();
    ServiceThread::instance().release();
    return LiveLoops::instance().waitForEnd(after(patience));
}

}  // namespace Tessel::Host::V1
