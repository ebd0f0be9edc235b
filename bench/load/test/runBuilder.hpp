// A run that tests make up, and pulls that fit it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "InfoObjectCollections.pb.h"
#include "expectation.hpp"
#include "ledger.hpp"
#include "sampleCode.hpp"

namespace QdxLoad::Test {

// Two frontends with a measurement (object 0), a counter (1) and a record (2) in two contexts each;
// the second frontend sent 60 samples to its only collector. The first does what it is told:
//
//     RunBuilder().sent(600).dropped(60, 700).sent(120).ledger()
class RunBuilder {
public:
    RunBuilder() {
        run.plan = {.frontends = 2, .objects = 3, .contexts = 2, .recordSize = 32};
        run.frontends = {{.lastConnection = 1},
                         {.added = 60, .lastConnection = 1, .ranges = {{0, 60, Fate::Sent, 1}}}};
    }

    RunBuilder& sent(std::uint64_t samples) { return add(samples, Fate::Sent, connection); }
    RunBuilder& dropped(std::uint64_t samples, std::uint64_t carriedFrom) {
        return add(samples, Fate::Dropped, carriedFrom);
    }
    RunBuilder& waiting(std::uint64_t samples) { return add(samples, Fate::Waiting, 0); }
    RunBuilder& reconnect() {
        run.frontends[0].lastConnection = ++connection;
        return *this;
    }

    const Ledger& ledger() const { return run; }

private:
    RunBuilder& add(std::uint64_t samples, Fate fate, std::uint64_t number) {
        auto& frontend = run.frontends[0];
        frontend.ranges.push_back({.first = frontend.added,
                                   .end = frontend.added + samples,
                                   .fate = fate,
                                   .number = number,
                                   .cause = Cause::SlowCollector});
        frontend.added += samples;
        return *this;
    }

    Ledger run;
    std::uint64_t connection = 1;
};

inline constexpr Series measurement{.frontend = 0, .object = 0, .context = 1};
inline constexpr Series counter{.frontend = 0, .object = 1, .context = 1};
inline constexpr Series record{.frontend = 0, .object = 2, .context = 1};

// The value of a series' sample, as its frontend sends it when nothing is carried.
inline std::int64_t valueOf(const Ledger& ledger, const Series& series, std::uint64_t sequence) {
    return encode({.series = ledger.plan.numberOf(series), .sequence = sequence});
}

template <typename Collection>
void setHead(Collection& collection, const Series& series) {
    collection.set_id(objectId(series.object));
    collection.mutable_context()->set_client_id(static_cast<std::int32_t>(series.frontend));
    collection.mutable_context()->set_device_id(static_cast<std::int32_t>(series.context));
}

// A list with these values; a record is made of each for a series of records.
inline Qdx::InfoObjectCollections listOf(const Ledger& ledger, const Series& series,
                                         const std::vector<std::int64_t>& values,
                                         std::uint32_t size) {
    Qdx::InfoObjectCollections pull;
    const auto fill = [&](auto& collection, const auto& addValue) {
        setHead(collection, series);
        collection.mutable_list()->set_subtype(Qdx::COUNT);
        collection.mutable_list()->set_size(size);
        for (const auto value : values) {
            addValue(value);
            collection.add_timestamps(1);
        }
    };
    switch (ledger.plan.kindOf(series.object)) {
        case Kind::Measurement: {
            auto& collection = *pull.add_measurementcollections();
            fill(collection, [&](std::int64_t value) { collection.add_values(value); });
            break;
        }
        case Kind::Counter: {
            auto& collection = *pull.add_countercollections();
            fill(collection, [&](std::int64_t value) { collection.add_values(value); });
            break;
        }
        case Kind::Record: {
            auto& collection = *pull.add_recordcollections();
            fill(collection, [&](std::int64_t value) {
                std::vector<unsigned char> bytes(ledger.plan.recordSize);
                writeRecord(bytes, *decode(value), ledger.plan.seed);
                collection.add_values(std::string(bytes.begin(), bytes.end()));
            });
            break;
        }
    }
    return pull;
}

}  // namespace QdxLoad::Test
