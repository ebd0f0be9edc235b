#include "series.hpp"

#include <google/protobuf/descriptor.h>

#include <algorithm>

namespace Qdx::Pull {

namespace {

constexpr const char* unknownAggregation = "?";

std::string contextText(const Qdx::InfoObjectContext& context) {
    const auto* const type = Qdx::InfoObjectContext::descriptor();
    const auto* const values = Qdx::InfoObjectContext::GetReflection();
    std::string text;
    for (int index = 0; index < type->field_count(); ++index) {
        const auto* const field = type->field(index);
        if (values->HasField(context, field)) {
            text += text.empty() ? "" : ",";
            text += field->json_name() + '=' + std::to_string(values->GetInt32(context, field));
        }
    }
    return text;
}

template <typename Scope>
std::string aggregationText(const char* method, const Scope& scope) {
    const char* const unit = scope.subtype() == Qdx::DURATION ? " duration " : " count ";
    return method + (unit + std::to_string(scope.size()));
}

std::string aggregationOf(const Qdx::MeasurementCollection& collection) {
    switch (collection.aggr_case()) {
        case Qdx::MeasurementCollection::kMin:
            return aggregationText("min", collection.min());
        case Qdx::MeasurementCollection::kMax:
            return aggregationText("max", collection.max());
        case Qdx::MeasurementCollection::kAvg:
            return aggregationText("average", collection.avg());
        case Qdx::MeasurementCollection::kList:
            return aggregationText("list", collection.list());
        case Qdx::MeasurementCollection::AGGR_NOT_SET:
            break;
    }
    return unknownAggregation;
}

std::string aggregationOf(const Qdx::CounterCollection& collection) {
    switch (collection.aggr_case()) {
        case Qdx::CounterCollection::kSum:
            return aggregationText("sum", collection.sum());
        case Qdx::CounterCollection::kList:
            return aggregationText("list", collection.list());
        case Qdx::CounterCollection::AGGR_NOT_SET:
            break;
    }
    return unknownAggregation;
}

std::string aggregationOf(const Qdx::RecordCollection& collection) {
    return collection.has_list() ? aggregationText("list", collection.list()) : unknownAggregation;
}

template <typename Collection>
Series headOf(const Collection& collection) {
    Series series;
    series.id = collection.id();
    series.context = contextText(collection.context());
    series.aggregation = aggregationOf(collection);
    return series;
}

template <typename Collections>
void appendNumbers(std::vector<Series>& all, const Collections& collections) {
    for (const auto& collection : collections) {
        all.push_back(headOf(collection));
        all.back().numbers.assign(collection.values().begin(), collection.values().end());
    }
}

template <typename Collections>
void widen(std::optional<TimeSpan>& span, const Collections& collections) {
    for (const auto& collection : collections) {
        for (const auto time : collection.timestamps()) {
            const TimeSpan known = span.value_or(TimeSpan{time, time});
            span = TimeSpan{std::min(known.first, time), std::max(known.last, time)};
        }
    }
}

}  // namespace

std::vector<Series> seriesOf(const Qdx::InfoObjectCollections& message) {
    std::vector<Series> all;
    appendNumbers(all, message.measurementcollections());
    appendNumbers(all, message.countercollections());
    for (const auto& collection : message.recordcollections()) {
        all.push_back(headOf(collection));
        all.back().records.assign(collection.values().begin(), collection.values().end());
    }
    return all;
}

std::optional<TimeSpan> timeSpanOf(const Qdx::InfoObjectCollections& message) {
    std::optional<TimeSpan> span;
    widen(span, message.measurementcollections());
    widen(span, message.countercollections());
    widen(span, message.recordcollections());
    return span;
}

}  // namespace Qdx::Pull
