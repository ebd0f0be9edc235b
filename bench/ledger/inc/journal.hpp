// What was done to the filters of a run, and what came of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "filterSpec.hpp"

namespace QdxLedger {

using FilterNumber = std::int64_t;

enum class Command { Create, Delete, Enable, Disable, ClearAll, PullKeep, PullClear };
inline bool isPull(Command command) {
    return command == Command::PullKeep || command == Command::PullClear;
}

// A command that succeeded; a pull that found nothing did, too.
struct Operation {
    Command command = Command::PullKeep;
    FilterNumber filter = 0;                    // none for ClearAll
    FilterSpec spec = {};                       // of Create
    std::vector<PulledCollection> pulled = {};  // of pulls
    std::vector<std::string> faults = {};       // of pulls: what was not to be understood
    // Samples that each frontend had added when the answer came: the collector had handled as many
    // at most. Exactly: when the command was given it had handled them all.
    std::vector<std::uint64_t> added = {};
    bool isExact = false;
};

// In the order of the commands, each given when the one before was answered.
using Journal = std::vector<Operation>;

// "#17 dch filter pull keep 11", the number being the operation's place in the journal.
std::string describe(const Journal& journal, std::size_t operation);

}  // namespace QdxLedger
