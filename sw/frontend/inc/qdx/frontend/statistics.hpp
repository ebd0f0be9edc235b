// What became of the batches of a connection.
#pragma once

#include <cstdint>

namespace Qdx::Frontend {

// Batches that were dropped, and the samples in them. The increments of their counters are not
// lost: each goes into the next sample of its counter.
struct Drops {
    std::uint64_t batches = 0;
    std::uint64_t samples = 0;
};

// Counts since the connection was constructed. All but the last are dropped as the oldest of a full
// queue; their names tell what kept the queue from leaving at that moment.
struct Statistics {
    std::uint64_t sentBatches = 0;  // the collector's mailbox took them
    std::uint64_t connections = 0;  // times that a collector confirmed; over 1 after it restarted

    Drops notConnected;     // no collector, or one that has not answered yet
    Drops refusedRevision;  // a collector that doesn't speak this revision of the protocol
    Drops slowCollector;    // it doesn't read as fast as samples come, or poll() is not called
    Drops noMemory;         // the system had no memory or descriptors to send with
    Drops tooLarge;         // samples: records larger than a message, batches: see Options
};

}  // namespace Qdx::Frontend
