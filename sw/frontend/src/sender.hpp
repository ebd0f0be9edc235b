// The inside of a connection: gathers samples into batches, and sends them or holds them back.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "batchQueue.hpp"
#include "batchWriter.hpp"
#include "handshake.hpp"
#include "ownMailbox.hpp"
#include "qdx/frontend/connection.hpp"
#include "series.hpp"

namespace Qdx::Frontend {

// The life of a batch:
//
//     open --full, old or flushed--> queue --the mailbox takes it--> gone
//                                      '--the queue is full--> dropped; its increments are carried
//
// A batch is closed by age or by flush() only when nothing waits in front of it: it would not leave
// any earlier, and the queue holds full batches so. It stays in the queue until the collector's
// mailbox takes it, so a batch is never lost between the two.
//
// Thread: the connection's.
class Sender {
public:
    Sender(const std::string& mailboxName, const MetaData& metaData, Options options);
    ~Sender();
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    Series& defineMeasurement(std::string_view name, std::string_view context);
    Series& defineCounter(std::string_view name, std::string_view context);
    Series& defineRecord(std::string_view name, std::string_view context);

    void addMeasurement(const Series& series, std::int64_t value) noexcept;
    void addCounter(Series& series, std::int64_t increment) noexcept;
    bool addRecord(const Series& series, std::span<const unsigned char> payload) noexcept;

    State state() const { return handshake.state(); }
    Statistics statistics() const;
    std::size_t waitingBatches() const { return queue.size(); }
    int descriptor() const { return mailbox.descriptor(); }
    std::optional<Clock::time_point> nextDeadline() const;

    void poll(Clock::time_point now);
    bool flush();

private:
    Series& define(SeriesTable& table, std::string_view name, std::string_view context,
                   std::size_t payloadSize);
    void makeRoom(const V1::SampleKey& key, std::size_t payloadSize);
    bool isOpenBatchOld(Clock::time_point now) const;
    void closeBatch();
    void sendQueue();
    void sendOpenBatch();
    void drop(Drops& cause);
    Drops& causeOfWaiting();

    const Options options;
    OwnMailbox mailbox;
    Handshake handshake;

    SeriesTable measurements;
    SeriesTable counters;
    SeriesTable records;

    V1::BatchWriter batch;
    Clock::time_point batchOpenedAt;  // by its first sample; means nothing while it is empty
    BatchQueue queue;
    int obstacle = 0;           // why the oldest batch didn't leave: errno's value, or 0
    Clock::time_point retryAt;  // if nothing else tells when the obstacle is gone

    Statistics counts;
};

}  // namespace Qdx::Frontend
