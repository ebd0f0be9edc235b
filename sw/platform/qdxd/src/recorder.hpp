// Records what reaches the participants.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>

#include "recording/encoder.hpp"
#include "recording/outputFile.hpp"
#include "tessel/observer.hpp"

namespace Qdxd {

// Every event is with the system before its handler runs, so that a recording also has the event
// that a process died of. A recording that can't be written ends, with a line; the process goes on.
class Recorder final : public Tessel::Host::V1::ObserverIf {
public:
    // say gets the line, and may throw std::bad_alloc alone. Throws Recording::CannotWrite.
    Recorder(const std::string& path, const Recording::Header& header,
             std::function<void(const std::string&)> say);
    ~Recorder() override;

    void onMessage(const ozo_msg& message) override;
    void onMailboxGone(std::uint32_t mailbox) override;
    void onCommand(const std::vector<std::string>& words) override;
    void onSteadyClock(std::chrono::steady_clock::time_point time) override;
    void onWallClock(std::chrono::system_clock::time_point time) override;

private:
    template <typename Encode>
    void record(Encode encode);
    void write();
    void end(const char* why) noexcept;
    std::uint32_t senderOf(std::uint32_t mailbox);

    const std::function<void(const std::string&)> say_;
    std::mutex mutex_;  // active objects tell on threads of their own
    Recording::OutputFile file_;
    Recording::Encoder encoder_;
    bool failed_ = false;
    std::unordered_map<std::uint32_t, std::uint32_t> senders_;  // by mailbox
    std::uint32_t lastSender_ = 0;
};

}  // namespace Qdxd
