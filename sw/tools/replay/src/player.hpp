// A collector that is played a recording.
#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "quardex.hpp"
#include "recording/reader.hpp"
#include "virtualUnit.hpp"

namespace Replay {

// Who learns what happens while a recording is played.
class PlayListenerIf : public ListenerIf {
public:
    // Told before the collector gets an event; counted from 1. The start of the collector is event
    // 0, of which nobody is told.
    virtual void onEvent(std::size_t number, const Recording::Entry& entry) = 0;
    // What the command of the event gave.
    virtual void onAnswer(const std::vector<std::string>& words, const std::string& output,
                          int status) = 0;
};

// Starts a collector in a virtual unit and gives it the events of a recording at the times that it
// saw then: nothing that it does depends on clocks, ids, addresses or threads, so that the listener
// is told the same each time.
//
// The catalogue of a process is read once: all recordings that one process plays must have the
// same list files. One player at a time.
class Player {
public:
    // The listener must outlive the player.
    Player(Recording::Reader& reader, PlayListenerIf& listener);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    // Plays the next so many events, or all that are left. Throws Recording::Fault, with the events
    // before the fault played.
    void play(std::size_t events = std::numeric_limits<std::size_t>::max());

    Qdx::Backend::Quardex& collector() { return *collector_; }

private:
    void readReadings(VirtualUnit::Clocks& clocks);
    void give(const Recording::Entry& event);

    Recording::Reader& reader_;
    PlayListenerIf& listener_;
    VirtualUnit unit_;
    std::shared_ptr<Qdx::Backend::Quardex> collector_;
    std::optional<Recording::Entry> next_;  // read ahead, behind the readings of the last event
    std::exception_ptr fault_;              // met while reading ahead
    std::size_t played_ = 0;
};

}  // namespace Replay
