#include "aggregatorCost.hpp"

#include <algorithm>
#include <bit>
#include <stdexcept>

#include "captureStatement.hpp"
#include "saturating.hpp"

namespace DchFilter {

using namespace Qdx::Backend;

namespace {

constexpr const char* probeTag = "PROBE";

// What takes longer to feed than this is computed.
constexpr std::uint64_t mostSamples = 100'000;
constexpr std::uint64_t mostBytes = std::uint64_t{64} << 20;
// A list of seconds moves all that it keeps at every sample.
constexpr std::uint64_t mostMovedValues = 4'000;

bool isCount(const AggregatorClause& clause) {
    return clause.period == AggregationPeriod::Count;
}

// Samples that are younger than the newest and not older than the period, in a list of seconds.
std::uint64_t samplesWithin(const AggregatorClause& clause, const Load& load) {
    const std::chrono::nanoseconds period = std::chrono::seconds(clause.scope);
    return static_cast<std::uint64_t>(period / load.betweenSamples);
}

std::uint64_t valuesOf(const AggregatorClause& clause, const Load& load) {
    if (!clause.isList()) {
        return clause.windows();
    }
    return isCount(clause) ? clause.scope : samplesWithin(clause, load) + 1;
}

// Samples until an aggregator is full and stays so.
std::uint64_t samplesToFill(const AggregatorClause& clause, const Load& load) {
    if (!clause.isList()) {
        return isCount(clause) ? clause.span : std::uint64_t{clause.windows()} + 1;
    }
    // A list of seconds has then let the oldest go twice.
    return isCount(clause) ? clause.scope : valuesOf(clause, load) + 2;
}

// Windows of seconds cost the same whatever comes in them: one sample in each is enough.
std::chrono::nanoseconds feedingInterval(const AggregatorClause& clause, const Load& load) {
    const bool isWindow = !clause.isList() && !isCount(clause);
    return isWindow ? std::chrono::seconds(clause.scope) : load.betweenSamples;
}

bool canBeFed(const AggregatorClause& clause, const ContentCost& computed, const Load& load) {
    const bool moves = clause.isList() && !isCount(clause);
    return samplesToFill(clause, load) <= mostSamples && computed.peak <= mostBytes &&
           (!moves || computed.values <= mostMovedValues);
}

InfoObject probeObject(InfoObjectType type) {
    return {InfoObjectId{1}, "probe", type, "", "", "", {probeTag}};
}

ProbeFilter probeFilter(const AggregatorClause& clause) {
    auto text = std::string(" tags ") + probeTag + ' ' + clause.text();
    return ProbeFilter({CaptureStatement::parse(text).value()});
}

// Empty if the aggregator takes nothing of this kind.
std::optional<std::uint64_t> mainOf(const AggregatorClause& clause, InfoObjectType type,
                                    const Load& load) {
    auto probe = probeFilter(clause);
    // Another object brings what the filter keeps for the context itself.
    const InfoObject other(InfoObjectId{2}, "other", type, "", "", "", {});
    probe.push(other, "", {}, load.recordSize);
    const auto before = probe.main();
    probe.push(probeObject(type), "", {}, load.recordSize);
    bool captured = false;
    probe.filter().getCapturedObjects([&captured](const auto&) { captured = true; });
    return captured ? std::optional(probe.main() - before) : std::nullopt;
}

// Bytes of one value in a history, and of what it holds outside.
struct ValueSize {
    std::uint64_t inside;
    std::uint64_t outside;
};

ValueSize valueSize(InfoObjectType type, const Load& load) {
    switch (type) {
        case InfoObjectType::Measurement:
            return {sizeof(Samples<Qdx::V1::MeasurementData>::value_type), 0};
        case InfoObjectType::Counter:
            return {sizeof(Samples<Qdx::V1::CounterData>::value_type), 0};
        case InfoObjectType::Record:
            break;
    }
    return {sizeof(Samples<RecordData>::value_type), load.recordSize};
}

// A history that grows by doubling, and replaces its oldest value in place once it has them all.
ContentCost grownContent(std::uint64_t values, const ValueSize& size) {
    if (values == 0) {
        return {};
    }
    const auto capacity = std::bit_ceil(values);
    const auto full = capacity * size.inside + values * size.outside;
    // The last growth: the old room, half as large, is still there, and so is the value that
    // didn't fit in it.
    const auto growing =
        capacity == 1 ? 0
                      : (capacity + capacity / 2) * size.inside + (capacity / 2 + 1) * size.outside;
    return {values, full, std::max(full, growing)};
}

// A history that gives its spare room back before each sample, so that each sample doubles it.
ContentCost shrunkContent(std::uint64_t values, const ValueSize& size) {
    const auto older = values - 1;
    const auto outside = saturatingMultiply(values, size.outside);
    const auto doubled = std::max<std::uint64_t>(2 * older, 1) * size.inside;
    return {values, saturatingAdd(doubled, outside),
            saturatingAdd(doubled + older * size.inside, outside)};
}

}  // namespace

bool hasLimit(const AggregatorClause& clause) {
    if (!isCount(clause)) {
        return true;
    }
    return clause.isList() ? clause.scope != 0 : clause.scope != 1 || clause.span != 0;
}

ContentCost computedContent(const AggregatorClause& clause, InfoObjectType type, const Load& load) {
    const auto values = valuesOf(clause, load);
    const bool shrinks = clause.isList() && !isCount(clause);
    const auto size = valueSize(type, load);
    return shrinks ? shrunkContent(values, size) : grownContent(values, size);
}

ContentCost fedContent(const AggregatorClause& clause, InfoObjectType type, const Load& load) {
    auto probe = probeFilter(clause);
    const auto object = probeObject(type);
    const auto interval = feedingInterval(clause, load);
    // Without room for windows there is nothing to fill, and their ends would throw.
    const auto samples = valuesOf(clause, load) == 0 ? 1 : samplesToFill(clause, load);
    auto now = std::chrono::nanoseconds(0);
    for (std::uint64_t i = 0; i < samples; ++i, now += interval) {
        probe.push(object, "", now, load.recordSize);
    }
    return {valuesOf(clause, load), probe.content(), probe.mostContent()};
}

std::optional<AggregatorCost> costOf(const AggregatorClause& clause, InfoObjectType type,
                                     const Load& load) {
    const auto main = mainOf(clause, type, load);
    if (!main) {
        return {};
    }
    if (!hasLimit(clause)) {
        return AggregatorCost{*main, {}};
    }
    const auto computed = computedContent(clause, type, load);
    return AggregatorCost{
        *main, canBeFed(clause, computed, load) ? fedContent(clause, type, load) : computed};
}

}  // namespace DchFilter
