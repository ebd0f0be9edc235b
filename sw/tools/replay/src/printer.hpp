// What a collector did, as lines that are the same each time.
#pragma once

#include <ostream>

#include "player.hpp"

namespace Replay {

// Each line begins with the number of its event:
//
//     12 dch filter pull keep 11
//     <QdxOutput>...</QdxOutput>             what the command wrote, as it stands
//     12 status 0
//     13 to 2: ConnectionEstablishCfm 0000...    what is behind the number of a message sent
//     14 error: Incorrect measurement data size: 4
//
// Events that the collector takes without a word, as good batches, give no line.
class Printer : public PlayListenerIf {
public:
    explicit Printer(std::ostream& out) : out_(out) {}

    void onEvent(std::size_t number, const Recording::Entry& entry) override;
    void onAnswer(const std::vector<std::string>& words, const std::string& output,
                  int status) override;
    void onReply(std::uint32_t receiver, const ozo_msg& message) override;
    void onError(const std::string& text) override;

private:
    std::ostream& out_;
    std::size_t event_ = 0;
};

}  // namespace Replay
