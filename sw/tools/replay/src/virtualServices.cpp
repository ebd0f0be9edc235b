// The other services of the present unit, and the trace.
#include <memory>
#include <utility>

#include "corbel/dbRegistry.hpp"
#include "corbel/tomlDatabase.hpp"
#include "tessel/activeObject.hpp"
#include "tessel/clock.hpp"
#include "tessel/commandCompletion.hpp"
#include "tessel/commandRegistry.hpp"
#include "tessel/ozoMailboxMonitor.hpp"
#include "tessel/ozoMessageSubscription.hpp"
#include "tessel/startup.hpp"
#include "trace.hpp"
#include "virtualUnit.hpp"

using Replay::VirtualUnit;

// Who plays a recording makes the collector.
Tessel::Startup::V1::StartupRegistrar::StartupRegistrar(
    std::function<std::shared_ptr<StartupParticipantIf>()> factory) {
    const auto dropped = std::move(factory);
}

namespace Tessel::ActiveObject::V1 {

namespace {

// The one thread does everything at once.
class VirtualActiveObject final : public ActiveObjectIf {
public:
    void runOnActiveObject(std::function<void()> function) override { function(); }
};

}  // namespace

std::shared_ptr<ActiveObjectIf> ActiveObjectIf::create(const std::string& /*name*/,
                                                       std::function<void()> body,
                                                       SchedulingPolicy /*policy*/) {
    const auto start = std::move(body);
    start();
    return std::make_shared<VirtualActiveObject>();
}

}  // namespace Tessel::ActiveObject::V1

namespace Tessel::OzoMessageSubscription::V1 {

namespace {

class VirtualSubscription final : public OzoMessageSubscriptionIf {
public:
    int addMailbox(int /*fd*/) override { return 0; }
    int addHandler(std::uint32_t messageNumber, Handler handler) override {
        return VirtualUnit::present().addHandler(messageNumber, std::move(handler)) ? 0 : 1;
    }
    std::uint64_t getUnhandled() const override { return 0; }
};

}  // namespace

OzoMessageSubscriptionIf& OzoMessageSubscriptionIf::getInstance() {
    static VirtualSubscription subscription;
    return subscription;
}

}  // namespace Tessel::OzoMessageSubscription::V1

namespace Tessel::OzoMailboxMonitor::V1 {

namespace {

class VirtualMonitor final : public OzoMailboxMonitorIf {
public:
    int monitorMailbox(std::uint32_t mailbox,
                       std::function<void(std::uint32_t)> callback) override {
        VirtualUnit::present().monitor(mailbox, std::move(callback));
        return 0;
    }
};

}  // namespace

OzoMailboxMonitorIf& OzoMailboxMonitorIf::getInstance() {
    static VirtualMonitor monitor;
    return monitor;
}

}  // namespace Tessel::OzoMailboxMonitor::V1

namespace Tessel::CommandRegistry::V1 {

namespace {

class VirtualRegistry final : public CommandRegistryIf {
public:
    int registerCommand(const std::string& word, Command command, bool /*hidden*/) override {
        VirtualUnit::present().addCommand(word, std::move(command));
        return 0;
    }
};

}  // namespace

CommandRegistryIf& CommandRegistryIf::getInstance() {
    static VirtualRegistry registry;
    return registry;
}

}  // namespace Tessel::CommandRegistry::V1

namespace Tessel::CommandCompletion::V1 {

namespace {

// Completion changes nothing, so no recording has any.
class VirtualCompletion final : public CommandCompletionIf {
public:
    int registerCompleter(const std::string& /*word*/, Completer /*completer*/) override {
        return 0;
    }
};

}  // namespace

CommandCompletionIf& CommandCompletionIf::getInstance() {
    static VirtualCompletion completion;
    return completion;
}

}  // namespace Tessel::CommandCompletion::V1

namespace Tessel::Clock::V1 {

namespace {

class VirtualClock final : public ClockIf {
public:
    std::chrono::steady_clock::time_point steadyNow() override {
        return std::chrono::steady_clock::time_point(VirtualUnit::present().readSteadyClock());
    }
    std::chrono::system_clock::time_point wallNow() override {
        return std::chrono::system_clock::time_point(
            std::chrono::duration_cast<std::chrono::system_clock::duration>(
                VirtualUnit::present().readWallClock()));
    }
};

}  // namespace

ClockIf& ClockIf::getInstance() {
    static VirtualClock clock;
    return clock;
}

}  // namespace Tessel::Clock::V1

namespace Corbel::V1 {

namespace {

// The recorded database, with the info object list where it is now.
class VirtualDatabase final : public DbHandleIf {
public:
    explicit VirtualDatabase(const std::string& text)
        : database_(parseDatabase(text, "the recorded database")) {}

    int readUintList(const std::string& key, std::vector<unsigned int>& values) override {
        return database_->readUintList(key, values);
    }
    int readByteList(const std::string& key, std::vector<unsigned char>& values) override {
        return database_->readByteList(key, values);
    }
    int readStringList(const std::string& key, std::vector<std::string>& values) override {
        return database_->readStringList(key, values);
    }
    int readString(const std::string& key, std::string& value) override {
        const int result = database_->readString(key, value);
        if (result == 0 && key == "/qdx/infoObjectListFilePath") {
            value = VirtualUnit::present().listFilePath();
        }
        return result;
    }

private:
    const std::shared_ptr<DbHandleIf> database_;
};

class VirtualDbRegistry final : public DbRegistryIf {
public:
    std::shared_ptr<DbHandleIf> openDatabase(const std::string& /*path*/) override {
        return std::make_shared<VirtualDatabase>(VirtualUnit::present().header().database);
    }
};

}  // namespace

DbRegistryIf& DbRegistryIf::getInstance() {
    static VirtualDbRegistry registry;
    return registry;
}

}  // namespace Corbel::V1

// Errors belong to what a recording gives.
namespace Qdx::Backend::Trace {

bool isOn(Level level) {
    return level == Level::Error;
}

void emit(Level /*level*/, std::string_view /*file*/, unsigned /*line*/,
          const std::string& message) {
    VirtualUnit::present().traceError(message);
}

}  // namespace Qdx::Backend::Trace
