#include "player.hpp"

#include <sstream>
#include <utility>

#include "applicationSupport.hpp"
#include "qdxFilterCtrlIServer.hpp"

namespace Replay {

namespace {

// What outlives a collector in its process.
void forgetFormerCollector() {
    Qdx::ApplicationSupport::freeInstance();
    Qdx::Backend::QdxFilterCtrlIServer::lastConnRef = 0;
    Qdx::Backend::QdxFilterCtrlIServer::lastStreamId = 0;
}

}  // namespace

Player::Player(Recording::Reader& reader, PlayListenerIf& listener)
    : reader_(reader), listener_(listener), unit_(reader.header(), listener) {
    forgetFormerCollector();
    VirtualUnit::Clocks clocks{.event = reader.header().steady, .steady = {}, .wall = {}};
    readReadings(clocks);
    unit_.setClocks(std::move(clocks));
    collector_ = std::make_shared<Qdx::Backend::Quardex>();
    collector_->start();
}

Player::~Player() = default;

void Player::play(std::size_t events) {
    for (; events > 0 && next_; --events) {
        const auto event = *std::exchange(next_, std::nullopt);
        VirtualUnit::Clocks clocks{.event = event.steady, .steady = {}, .wall = {}};
        readReadings(clocks);
        unit_.setClocks(std::move(clocks));
        listener_.onEvent(++played_, event);
        give(event);
    }
    if (events > 0 && fault_) {
        std::rethrow_exception(fault_);
    }
}

// A fault waits until what stands before it is played.
void Player::readReadings(VirtualUnit::Clocks& clocks) {
    try {
        for (next_ = reader_.next(); next_ && isReading(*next_); next_ = reader_.next()) {
            if (const auto* reading = std::get_if<Recording::WallReading>(&next_->what)) {
                clocks.wall.push_back(reading->wall);
            } else {
                clocks.steady.push_back(next_->steady);
            }
        }
    } catch (const Recording::Fault&) {
        next_.reset();
        fault_ = std::current_exception();
    }
}

void Player::give(const Recording::Entry& event) {
    if (const auto* message = std::get_if<Recording::Message>(&event.what)) {
        unit_.deliver(*message);
    } else if (const auto* gone = std::get_if<Recording::MailboxGone>(&event.what)) {
        unit_.deliver(*gone);
    } else if (const auto* command = std::get_if<Recording::Command>(&event.what)) {
        std::ostringstream out;
        const int status = unit_.run(command->words, out);
        listener_.onAnswer(command->words, out.str(), status);
    }
}

}  // namespace Replay
