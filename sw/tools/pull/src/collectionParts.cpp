#include "collectionParts.hpp"

#include <google/protobuf/descriptor.h>

namespace Qdx::Pull {

namespace {

template <typename Scope>
Aggregation aggregation(const char* method, const Scope& scope) {
    return {method, scope.subtype() == Qdx::DURATION ? "duration" : "count", scope.size()};
}

}  // namespace

std::optional<Aggregation> aggregationOf(const Qdx::MeasurementCollection& collection) {
    switch (collection.aggr_case()) {
        case Qdx::MeasurementCollection::kMin:
            return aggregation("min", collection.min());
        case Qdx::MeasurementCollection::kMax:
            return aggregation("max", collection.max());
        case Qdx::MeasurementCollection::kAvg:
            return aggregation("average", collection.avg());
        case Qdx::MeasurementCollection::kList:
            return aggregation("list", collection.list());
        case Qdx::MeasurementCollection::AGGR_NOT_SET:
            break;
    }
    return std::nullopt;
}

std::optional<Aggregation> aggregationOf(const Qdx::CounterCollection& collection) {
    switch (collection.aggr_case()) {
        case Qdx::CounterCollection::kSum:
            return aggregation("sum", collection.sum());
        case Qdx::CounterCollection::kList:
            return aggregation("list", collection.list());
        case Qdx::CounterCollection::AGGR_NOT_SET:
            break;
    }
    return std::nullopt;
}

std::optional<Aggregation> aggregationOf(const Qdx::RecordCollection& collection) {
    return collection.has_list() ? std::optional(aggregation("list", collection.list()))
                                 : std::nullopt;
}

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

}  // namespace Qdx::Pull
