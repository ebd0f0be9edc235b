// What the kinds of collections have in common.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "InfoObjectCollections.pb.h"

namespace Qdx::Pull {

// How a collection was aggregated. Texts are those of capture statements.
struct Aggregation {
    const char* method;  // "min", "max", "average", "list", "sum"
    const char* scope;   // "count" of samples or "duration" in seconds
    std::uint32_t size;  // of the scope
};

// Empty if the collection doesn't tell.
std::optional<Aggregation> aggregationOf(const Qdx::MeasurementCollection& collection);
std::optional<Aggregation> aggregationOf(const Qdx::CounterCollection& collection);
std::optional<Aggregation> aggregationOf(const Qdx::RecordCollection& collection);

// "max count 10"; "?" if the collection doesn't tell.
template <typename Collection>
std::string aggregationText(const Collection& collection) {
    const auto aggregation = aggregationOf(collection);
    if (!aggregation) {
        return "?";
    }
    return std::string(aggregation->method) + ' ' + aggregation->scope + ' ' +
           std::to_string(aggregation->size);
}

// "rfBranch=3,carrierId=7", in the order of the fields; empty for a value without context.
std::string contextText(const Qdx::InfoObjectContext& context);

inline const char* kindText(const Qdx::MeasurementCollection& /*collection*/) {
    return "measurement";
}
inline const char* kindText(const Qdx::CounterCollection& /*collection*/) {
    return "counter";
}
inline const char* kindText(const Qdx::RecordCollection& /*collection*/) {
    return "record";
}

// When the value was taken, in seconds since the epoch; empty if the collection holds fewer
// timestamps than values.
template <typename Collection>
std::optional<std::uint64_t> timestampAt(const Collection& collection, int index) {
    return index < collection.timestamps_size() ? std::optional(collection.timestamps(index))
                                                : std::nullopt;
}

// Calls visit with each collection, in the order of the message: measurements, counters, records.
template <typename Visit>
void forEachCollection(const Qdx::InfoObjectCollections& message, Visit visit) {
    for (const auto& collection : message.measurementcollections()) {
        visit(collection);
    }
    for (const auto& collection : message.countercollections()) {
        visit(collection);
    }
    for (const auto& collection : message.recordcollections()) {
        visit(collection);
    }
}

}  // namespace Qdx::Pull
