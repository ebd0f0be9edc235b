// What became of every sample of a run, as the frontends know it.
#pragma once

#include <cstdint>
#include <istream>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "plan.hpp"

namespace QdxLoad {

// Why a batch was dropped; the names are those of Qdx::Frontend::Statistics.
enum class Cause { NotConnected, RefusedRevision, SlowCollector, NoMemory, TooLarge };
inline constexpr std::size_t causeCount = 5;
std::string_view nameOf(Cause cause);

enum class Fate {
    Sent,     // the mailbox of a collector took it
    Dropped,  // and counted by cause
    Waiting,  // the run ended with it in the frontend's queue: it may still have left
};

// Samples of one frontend that were in one batch, by index; those left waiting may be in several.
struct Range {
    std::uint64_t first;
    std::uint64_t end;
    Fate fate;
    // Sent: which of the frontend's connections took it. Dropped: the index of the sample that came
    // next, into which, and those behind, counters carry what was dropped.
    std::uint64_t number = 0;
    Cause cause = Cause::NotConnected;  // of a drop
    friend bool operator==(const Range&, const Range&) = default;
};

struct FrontendLedger {
    std::uint64_t added = 0;
    // The connection whose collector was there at the end; what went to earlier ones is lost with
    // them. 0: none was.
    std::uint64_t lastConnection = 0;
    std::vector<Range> ranges = {};  // without gaps from 0 to added
    friend bool operator==(const FrontendLedger&, const FrontendLedger&) = default;
};

struct Ledger {
    Plan plan;
    std::vector<FrontendLedger> frontends;
    friend bool operator==(const Ledger&, const Ledger&) = default;
};

// One line: which input, where in it, what is wrong.
class BadLedger : public std::runtime_error {
    using runtime_error::runtime_error;
};

// A text with a line each, for people too:
//
//     qdxload ledger 2
//     plan <frontends> <objects> <contexts> <seed> <record size> <spread> <kind>,<kind>
//     frontend <number> added <samples> last-connection <number>
//     sent <first> <end> connection <number>
//     dropped <first> <end> <cause> at <index>
//     waiting <first> <end>
//     end
void writeLedger(std::ostream& out, const Ledger& ledger);

// Throws BadLedger, with the source's name, for anything that writeLedger can't have written.
Ledger readLedger(std::istream& in, const std::string& source);

}  // namespace QdxLoad
