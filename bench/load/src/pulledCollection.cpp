#include "pulledCollection.hpp"

#include <algorithm>
#include <array>
#include <optional>

#include "sampleCode.hpp"

namespace QdxLoad {
namespace {

using Result = std::variant<PulledCollection, std::string>;

constexpr std::array<std::string_view, 5> methodNames{"min", "max", "average", "sum", "list"};

struct Scope {
    Method method;
    bool ofSeconds;
    std::uint64_t size;
};

template <typename Aggregation>
Scope scopeOf(Method method, const Aggregation& aggregation) {
    return {.method = method,
            .ofSeconds = aggregation.subtype() == Qdx::DURATION,
            .size = aggregation.size()};
}

// Empty without an aggregation that the kind can have.
std::optional<Scope> scopeOf(const Qdx::MeasurementCollection& collection) {
    switch (collection.aggr_case()) {
        case Qdx::MeasurementCollection::kMin:
            return scopeOf(Method::Min, collection.min());
        case Qdx::MeasurementCollection::kMax:
            return scopeOf(Method::Max, collection.max());
        case Qdx::MeasurementCollection::kAvg:
            return scopeOf(Method::Average, collection.avg());
        case Qdx::MeasurementCollection::kList:
            return scopeOf(Method::List, collection.list());
        default:
            return std::nullopt;
    }
}

std::optional<Scope> scopeOf(const Qdx::CounterCollection& collection) {
    switch (collection.aggr_case()) {
        case Qdx::CounterCollection::kSum:
            return scopeOf(Method::Sum, collection.sum());
        case Qdx::CounterCollection::kList:
            return scopeOf(Method::List, collection.list());
        default:
            return std::nullopt;
    }
}

std::optional<Scope> scopeOf(const Qdx::RecordCollection& collection) {
    return collection.has_list() ? std::optional(scopeOf(Method::List, collection.list()))
                                 : std::nullopt;
}

std::optional<std::int64_t> codeOf(std::int64_t value) {
    return value;
}

std::optional<std::int64_t> codeOf(const std::string& record) {
    return readRecord({reinterpret_cast<const unsigned char*>(record.data()), record.size()});
}

bool hasOurContext(const Qdx::InfoObjectContext& context) {
    Qdx::InfoObjectContext others = context;
    others.clear_client_id();
    others.clear_device_id();
    return context.has_client_id() && context.has_device_id() && others.ByteSizeLong() == 0;
}

// Empty if the plan has no such series.
template <typename Collection>
std::optional<Series> seriesOf(const Plan& plan, Kind kind, const Collection& collection) {
    const auto& context = collection.context();
    if (!hasOurContext(context) || collection.id() < objectId(0) ||
        collection.id() > plan.objects) {
        return std::nullopt;
    }
    const Series series{.frontend = static_cast<std::uint32_t>(context.client_id()),
                        .object = collection.id() - objectId(0),
                        .context = static_cast<std::uint32_t>(context.device_id())};
    const bool isThere = series.frontend < plan.frontends && series.context < plan.contexts &&
                         plan.kindOf(series.object) == kind;
    return isThere ? std::optional(series) : std::nullopt;
}

std::string nameOf(const Scope& scope) {
    return std::string(nameOf(scope.method))
        .append(scope.ofSeconds ? " duration " : " count ")
        .append(std::to_string(scope.size));
}

template <typename Collection>
Result read(const Plan& plan, Kind kind, const Collection& collection) {
    const auto series = seriesOf(plan, kind, collection);
    if (!series) {
        return std::string("foreign: a ").append(nameOf(kind)) + " with the id " +
               std::to_string(collection.id()) + " and the context {" +
               collection.context().ShortDebugString() + "} is none of the run's";
    }
    const auto scope = scopeOf(collection);
    const auto name = (scope ? nameOf(*scope) : std::string("no aggregation"))
                          .append(" of ")
                          .append(describe(plan, *series));
    if (collection.values_size() != collection.timestamps_size() || !scope) {
        return "damaged: " + std::to_string(collection.values_size()) + " values and " +
               std::to_string(collection.timestamps_size()) + " timestamps in " + name;
    }
    PulledCollection pulled{.series = *series,
                            .method = scope->method,
                            .ofSeconds = scope->ofSeconds,
                            .size = scope->size,
                            .name = name,
                            .values = {}};
    for (const auto& value : collection.values()) {
        if (const auto code = codeOf(value)) {
            pulled.values.push_back(*code);
        } else {
            ++pulled.damagedRecords;
        }
    }
    return pulled;
}

}  // namespace

std::string_view nameOf(Method method) {
    return methodNames[static_cast<std::size_t>(method)];
}

std::int64_t resultOf(Method method, const std::int64_t* begin, std::uint64_t size) {
    const auto* const end = begin + size;
    if (method == Method::List) {
        return *begin;
    }
    if (method == Method::Min) {
        return *std::min_element(begin, end);
    }
    if (method == Method::Max) {
        return *std::max_element(begin, end);
    }
    std::uint64_t sum = 0;
    for (const auto* value = begin; value != end; ++value) {
        sum += static_cast<std::uint64_t>(*value);
    }
    const auto wrapped = static_cast<std::int64_t>(sum);
    return method == Method::Sum ? wrapped : wrapped / static_cast<std::int64_t>(size);
}

std::vector<Result> collectionsOf(const Plan& plan, const Qdx::InfoObjectCollections& pull) {
    std::vector<Result> results;
    for (const auto& collection : pull.measurementcollections()) {
        results.push_back(read(plan, Kind::Measurement, collection));
    }
    for (const auto& collection : pull.countercollections()) {
        results.push_back(read(plan, Kind::Counter, collection));
    }
    for (const auto& collection : pull.recordcollections()) {
        results.push_back(read(plan, Kind::Record, collection));
    }
    return results;
}

}  // namespace QdxLoad
