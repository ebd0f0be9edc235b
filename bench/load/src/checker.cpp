#include "checker.hpp"

#include <algorithm>
#include <optional>
#include <unordered_map>

#include "sampleCode.hpp"

namespace QdxLoad {

// What one collection says of its values.
struct Checker::Scope {
    enum class Method { Min, Max, Average, Sum, List, None };
    Method method = Method::None;
    bool ofSeconds = false;
    std::uint64_t size = 0;
    std::string name = {};  // "list count 100 of load:counter:1 clientId=0,deviceId=3"
};

namespace {

using Scope = Checker::Scope;
using Method = Checker::Scope::Method;

// Of expected values beyond those pulled, so that a value from a little before is told from one
// that was never sent.
constexpr std::size_t margin = 4096;

template <typename Aggregation>
Scope scopeOf(Method method, const char* name, const Aggregation& aggregation) {
    const bool ofSeconds = aggregation.subtype() == Qdx::DURATION;
    return {.method = method,
            .ofSeconds = ofSeconds,
            .size = aggregation.size(),
            .name = std::string(name).append(ofSeconds ? " duration " : " count ") +
                    std::to_string(aggregation.size())};
}

Scope scopeOf(const Qdx::MeasurementCollection& collection) {
    switch (collection.aggr_case()) {
        case Qdx::MeasurementCollection::kMin:
            return scopeOf(Method::Min, "min", collection.min());
        case Qdx::MeasurementCollection::kMax:
            return scopeOf(Method::Max, "max", collection.max());
        case Qdx::MeasurementCollection::kAvg:
            return scopeOf(Method::Average, "average", collection.avg());
        case Qdx::MeasurementCollection::kList:
            return scopeOf(Method::List, "list", collection.list());
        default:
            return {};
    }
}

Scope scopeOf(const Qdx::CounterCollection& collection) {
    switch (collection.aggr_case()) {
        case Qdx::CounterCollection::kSum:
            return scopeOf(Method::Sum, "sum", collection.sum());
        case Qdx::CounterCollection::kList:
            return scopeOf(Method::List, "list", collection.list());
        default:
            return {};
    }
}

Scope scopeOf(const Qdx::RecordCollection& collection) {
    return collection.has_list() ? scopeOf(Method::List, "list", collection.list()) : Scope{};
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

// Of each value in the list.
std::unordered_map<std::int64_t, std::size_t> placesOf(const std::vector<std::int64_t>& values) {
    std::unordered_map<std::int64_t, std::size_t> places;
    for (std::size_t place = 0; place < values.size(); ++place) {
        places.emplace(values[place], place);
    }
    return places;
}

// What a window gives for these values, with the collector's 64 bits that wrap.
std::int64_t resultOf(Method method, const std::int64_t* begin, std::uint64_t size) {
    const auto* const end = begin + size;
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

// Whether windows that end behind that place of the total are those pulled.
bool windowsMatch(const Scope& scope, const Expectation& expected,
                  const std::vector<std::int64_t>& pulled, std::uint64_t end) {
    auto begin = end - pulled.size() * scope.size - expected.skipped();
    return std::all_of(pulled.begin(), pulled.end(), [&](std::int64_t value) {
        const auto* window = &expected.newest[begin];
        begin += scope.size;
        return value == resultOf(scope.method, window, scope.size);
    });
}

}  // namespace

void Checker::check(const Qdx::InfoObjectCollections& pull) {
    for (const auto& collection : pull.measurementcollections()) {
        checkCollection(Kind::Measurement, collection);
    }
    for (const auto& collection : pull.countercollections()) {
        checkCollection(Kind::Counter, collection);
    }
    for (const auto& collection : pull.recordcollections()) {
        checkCollection(Kind::Record, collection);
    }
}

template <typename Collection>
void Checker::checkCollection(Kind kind, const Collection& collection) {
    const auto series = seriesOf(ledger.plan, kind, collection);
    if (!series) {
        return report(std::string("foreign: a ").append(nameOf(kind)) + " with the id " +
                      std::to_string(collection.id()) + " and the context {" +
                      collection.context().ShortDebugString() + "} is none of the run's");
    }
    auto scope = scopeOf(collection);
    scope.name.append(scope.name.empty() ? "no aggregation of " : " of ")
        .append(describe(ledger.plan, *series));
    if (collection.values_size() != collection.timestamps_size() || scope.method == Method::None) {
        return report("damaged: " + std::to_string(collection.values_size()) + " values and " +
                      std::to_string(collection.timestamps_size()) + " timestamps in " +
                      scope.name);
    }
    if (scope.ofSeconds && scope.method != Method::List) {
        ++unchecked;
        return;
    }
    std::vector<std::int64_t> pulled;
    for (const auto& value : collection.values()) {
        if (const auto code = codeOf(value)) {
            pulled.push_back(*code);
        } else {
            report("damaged: a record with a wrong checksum in " + scope.name);
        }
    }
    ++collections;
    values += pulled.size();
    if (scope.method == Method::List) {
        checkList(*series, scope, pulled);
    } else {
        checkWindows(*series, scope, pulled);
    }
}

void Checker::checkList(const Series& series, const Scope& scope,
                        const std::vector<std::int64_t>& pulled) {
    listed.insert(ledger.plan.numberOf(series));
    const auto expected = expect(ledger, series, pulled.size() + margin);
    const auto places = placesOf(expected.newest);
    std::vector<bool> seen(expected.newest.size());
    std::size_t first = seen.size();
    std::size_t end = 0;
    for (const auto value : pulled) {
        const auto known = places.find(value);
        if (known == places.end()) {
            report(explain(series, value, seen.size()) + " in " + scope.name);
            continue;
        }
        const auto place = known->second;
        if (seen[place]) {
            report("duplicate: " + std::to_string(value) + " came twice in " + scope.name);
        } else if (place < end) {
            report("reordered: " + std::to_string(value) + " came behind a later one in " +
                   scope.name);
        }
        seen[place] = true;
        first = std::min(first, place);
        end = std::max(end, place + 1);
    }
    const bool isWhole =
        began == Began::BeforeFirstSample && !scope.ofSeconds && pulled.size() < scope.size;
    const auto certain = expected.certain - std::min(expected.certain, expected.skipped());
    seen.resize(std::max<std::size_t>(end, certain));
    reportLost(scope, expected, seen, isWhole ? 0 : first);
}

void Checker::reportLost(const Scope& scope, const Expectation& expected,
                         const std::vector<bool>& seen, std::size_t from) {
    const auto begin = seen.begin() + static_cast<std::ptrdiff_t>(std::min(from, seen.size()));
    for (auto lost = std::find(begin, seen.end(), false); lost != seen.end();) {
        const auto next = std::find(lost, seen.end(), true);
        report(
            "lost: " + std::to_string(next - lost) + " of " + std::to_string(expected.total) +
            " values, from number " +
            std::to_string(expected.skipped() + static_cast<std::uint64_t>(lost - seen.begin())) +
            " on, in " + scope.name);
        lost = std::find(next, seen.end(), false);
    }
}

void Checker::checkWindows(const Series& series, const Scope& scope,
                           const std::vector<std::int64_t>& pulled) {
    const auto covered = pulled.size() * std::max<std::uint64_t>(scope.size, 1);
    const auto expected = expect(ledger, series, covered + scope.size + margin);
    // The last window ended less than a window before the end, wherever the first began.
    const auto earliest = std::max(
        covered + expected.skipped(),
        expected.certain - std::min(expected.certain, std::max<std::uint64_t>(scope.size, 1) - 1));
    for (auto end = earliest; scope.size > 0 && end <= expected.total; ++end) {
        const bool isAligned = began == Began::Sometime || end % scope.size == 0;
        if (isAligned && windowsMatch(scope, expected, pulled, end)) {
            return;
        }
    }
    report("window: no " + std::to_string(covered) + " of " + std::to_string(expected.total) +
           " values in a row give " + scope.name);
}

// Why a value is not among those that the collector got.
std::string Checker::explain(const Series& series, std::int64_t value, std::size_t kept) const {
    const auto code = decode(value);
    const auto text = std::to_string(value);
    if (!code || code->series >= ledger.plan.seriesCount()) {
        return "invented: " + text;
    }
    const auto sequence = " (sequence " + std::to_string(code->sequence) + ")";
    if (const auto owner = ledger.plan.seriesAt(code->series); owner != series) {
        return "foreign: " + text + " is of " + describe(ledger.plan, owner);
    }
    if (const auto samples = samplesOf(ledger, series); code->sequence >= samples) {
        return "invented: " + text + sequence + " of " + std::to_string(samples) + " samples";
    }
    const auto fate = fateOf(ledger, series, code->sequence);
    if (fate != sentToThisCollector) {
        return "undelivered: " + text + sequence + ", which " + fate + ",";
    }
    if (ledger.plan.kindOf(series.object) == Kind::Counter) {
        return "invented: " + text + sequence + " without what it carried";
    }
    return "reordered: " + text + sequence + ", older than the newest " + std::to_string(kept) +
           ",";
}

void Checker::finish() {
    if (began != Began::BeforeFirstSample) {
        return;
    }
    std::set<Kind> listedKinds;
    for (const auto number : listed) {
        listedKinds.insert(ledger.plan.kindOf(ledger.plan.seriesAt(number).object));
    }
    for (std::uint64_t number = 0; number < ledger.plan.seriesCount(); ++number) {
        const auto series = ledger.plan.seriesAt(number);
        if (listed.contains(number) || !listedKinds.contains(ledger.plan.kindOf(series.object))) {
            continue;
        }
        if (const auto expected = expect(ledger, series, 1); expected.certain > 0) {
            report("lost: " + std::to_string(expected.certain) + " values, all of " +
                   describe(ledger.plan, series));
        }
    }
}

}  // namespace QdxLoad
