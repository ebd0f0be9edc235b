// A unit that exists only in memory: the platform of a collector that is played a recording.
//
// The collector is linked with the functions that stand in virtualMailboxes.cpp and
// virtualServices.cpp in place of the platform's. They know one unit, the present one. In it
// nothing happens but what it is told to do: there is one thread, messages that the collector sends
// are given to the listener, clocks show what they are set to, and the only files are those of the
// info object list.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "listFolder.hpp"
#include "ozo.h"
#include "recording/entry.hpp"
#include "tessel/commandRegistry.hpp"
#include "tessel/ozoMessageSubscription.hpp"

namespace Replay {

// Who learns what the collector does.
class ListenerIf {
public:
    virtual void onReply(std::uint32_t receiver, const ozo_msg& message) = 0;
    // An error that the collector traced.
    virtual void onError(const std::string& text) = 0;
    virtual ~ListenerIf() = default;
};

// One at a time.
class VirtualUnit {
public:
    using Handler = Tessel::OzoMessageSubscription::V1::OzoMessageSubscriptionIf::Handler;
    using GoneCallback = std::function<void(std::uint32_t)>;
    using Command = Tessel::CommandRegistry::V1::CommandRegistryIf::Command;

    // The collector's own; recorded senders have their numbers for ids.
    static constexpr std::uint32_t collectorMailbox = 0xC011EC70;

    // Both must outlive the unit.
    VirtualUnit(const Recording::Header& header, ListenerIf& listener);
    ~VirtualUnit();
    VirtualUnit(const VirtualUnit&) = delete;
    VirtualUnit& operator=(const VirtualUnit&) = delete;

    static VirtualUnit& present();

    // What the clocks show from now on: each reading what was recorded of it, in turn; then the
    // time of the event.
    struct Clocks {
        std::chrono::nanoseconds event{};
        std::deque<std::chrono::nanoseconds> steady;
        std::deque<std::chrono::nanoseconds> wall;
    };
    void setClocks(Clocks clocks) { clocks_ = std::move(clocks); }

    // What is done to the collector; each is nothing if the collector did not ask for it.
    void deliver(const Recording::Message& message);
    void deliver(const Recording::MailboxGone& gone);
    // The exit status.
    int run(const std::vector<std::string>& words, std::ostream& out);

    // What the collector does.
    bool addHandler(std::uint32_t number, Handler handler);
    void monitor(std::uint32_t mailbox, GoneCallback callback);
    void addCommand(const std::string& word, Command command);
    void send(std::uint32_t receiver, const ozo_msg& message);
    void traceError(std::string text);
    std::chrono::nanoseconds readSteadyClock();
    std::chrono::nanoseconds readWallClock();
    const Recording::Header& header() const { return header_; }
    // Writes the list files to a directory of their own and gives the path of the first; where it
    // would be, if the recording has none. Throws std::runtime_error if they can't be written.
    std::string listFilePath();

private:
    const Recording::Header& header_;
    ListenerIf& listener_;
    std::optional<ListFolder> listFolder_;  // once somebody asked for it
    Clocks clocks_;
    std::map<std::uint32_t, Handler> handlers_;
    std::map<std::uint32_t, std::vector<GoneCallback>> monitors_;
    std::map<std::string, Command> commands_;
};

}  // namespace Replay
