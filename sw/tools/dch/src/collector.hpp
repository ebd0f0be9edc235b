// The collector, as far as one who types commands sees it.
#pragma once

#include <string>

#include "commandTable.hpp"
#include "tessel/commandClient.hpp"
#include "words.hpp"

namespace Dch {

// Keeps no connection and no answer: a collector that restarts is met anew at each call. All throw
// what the command client throws.
class Collector {
public:
    explicit Collector(Tessel::CommandClient::Patience patience = {}) : patience_(patience) {}

    int run(const Words& words, const Tessel::CommandClient::Sinks& sinks) const;

    // The words of the commands that aren't hidden.
    Words commands() const;
    // Also true for a hidden command that has a table.
    bool isCommand(const std::string& word) const;
    // Empty for a word without one.
    Table table(const std::string& word) const;
    // What the last of the words can become; the first is the command word.
    Words complete(const Words& words) const;

private:
    const Tessel::CommandClient::Patience patience_;
};

}  // namespace Dch
