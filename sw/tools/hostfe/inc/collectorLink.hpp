// The way from a frontend to the collector, which may not be there yet and may go and come back.
//
//     seeking --found--> asking --confirmed--> connected
//        ^                  |---rejected--> refused
//        '---- the collector's mailbox is gone ---'  from each of the other three
#pragma once

#include <chrono>
#include <cstdint>

#include "InfoObjectCollections.pb.h"
#include "frontendMessages.hpp"

namespace HostFe {

// Finds the collector, agrees on the protocol's revision, delivers the metadata, and starts over
// when the collector is gone. Call seek() now and then, and receive() whenever descriptor() is
// readable. All on the thread that constructed it, whose mailbox it owns. Writes a line to standard
// error at each change.
class CollectorLink {
public:
    using Clock = std::chrono::steady_clock;

    // How long a request waits for its answer before it is sent again.
    static constexpr std::chrono::seconds answerTime{1};

    // Throws std::runtime_error with one line if the mailbox can't be created.
    explicit CollectorLink(Qdx::RadioMetaData hostMetaData);
    ~CollectorLink();
    CollectorLink(const CollectorLink&) = delete;
    CollectorLink& operator=(const CollectorLink&) = delete;

    int descriptor() const;
    bool isConnected() const { return state == State::Connected; }

    // Looks for the collector, or asks it again if it didn't answer in time.
    void seek(Clock::time_point now);

    // Handles all messages that wait.
    void receive();

    // Sends a whole message. REQUIRES: isConnected().
    void send(const Qdx::V1::MessageBytes& message) const;

private:
    enum class State { Seeking, Asking, Connected, Refused };

    void find(Clock::time_point now);
    void ask(Clock::time_point now);
    void handle(const ozo_msg* message);
    void handleReply(const Qdx::V1::ConnectionReply& reply);
    bool tellsThatCollectorIsGone(const ozo_msg* message) const;

    const Qdx::RadioMetaData metaData;
    const std::uint32_t mailbox;
    State state = State::Seeking;
    bool saidThatItWaits = false;
    std::uint32_t collector = OZO_NO_MAILBOX;  // its mailbox, unless seeking
    std::uint32_t requests = 0;                // the last one's procedure reference
    Clock::time_point askedAt;
};

}  // namespace HostFe
