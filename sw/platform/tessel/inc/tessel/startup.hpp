// How a library makes itself known to the process that loads it.
#pragma once

#include <functional>
#include <memory>

namespace Tessel::Startup::V1 {

// What a library contributes to the process: the host creates it, calls start() once and releases
// it when the process ends.
class StartupParticipantIf {
public:
    virtual void start() = 0;
    virtual ~StartupParticipantIf() = default;
};

// Constructed as a static object of a library, so that loading the library registers the
// participant:
//
//     const StartupRegistrar registrar([] { return std::make_shared<MyParticipant>(); });
//
// The factory must not throw and runs later, on the host's main thread, never during static
// initialisation.
class StartupRegistrar {
public:
    explicit StartupRegistrar(std::function<std::shared_ptr<StartupParticipantIf>()> factory);
};

}  // namespace Tessel::Startup::V1
