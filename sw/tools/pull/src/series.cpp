#include "series.hpp"

#include <algorithm>

#include "collectionParts.hpp"

namespace Qdx::Pull {

namespace {

void assignValues(Series& series, const Qdx::RecordCollection& collection) {
    series.records.assign(collection.values().begin(), collection.values().end());
}

template <typename Collection>
void assignValues(Series& series, const Collection& collection) {
    series.numbers.assign(collection.values().begin(), collection.values().end());
}

}  // namespace

std::vector<Series> seriesOf(const Qdx::InfoObjectCollections& message) {
    std::vector<Series> all;
    forEachCollection(message, [&all](const auto& collection) {
        auto& series = all.emplace_back();
        series.id = collection.id();
        series.context = contextText(collection.context());
        series.aggregation = aggregationText(collection);
        assignValues(series, collection);
    });
    return all;
}

std::optional<TimeSpan> timeSpanOf(const Qdx::InfoObjectCollections& message) {
    std::optional<TimeSpan> span;
    forEachCollection(message, [&span](const auto& collection) {
        for (const auto time : collection.timestamps()) {
            const TimeSpan known = span.value_or(TimeSpan{time, time});
            span = TimeSpan{std::min(known.first, time), std::max(known.last, time)};
        }
    });
    return span;
}

}  // namespace Qdx::Pull
