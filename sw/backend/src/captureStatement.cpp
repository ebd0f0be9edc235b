#include "captureStatement.hpp"

#include <charconv>
#include <cstdint>
#include <regex>
#include <sstream>
#include <tuple>

#include "countAggregators.hpp"
#include "durationAggregators.hpp"
#include "infoObjectContextImpl.hpp"
#include "listAggregators.hpp"

namespace Qdx::Backend {

using AggregatorParams::CountList;
using AggregatorParams::CountNonList;
using AggregatorParams::DurationList;
using AggregatorParams::DurationNonList;

namespace {

using AggregatorPtr = std::shared_ptr<Aggregator>;
using AggregatorClause = std::pair<AggregationMethod, AggregatorParamsVariant>;

// A clause at the start of a statement: the texts of its groups, and what stands behind it.
struct Clause {
    std::string first;
    std::string second;
    std::string rest;
};

std::optional<Clause> findClause(const std::string& text, const char* pattern) {
    std::smatch match;
    if (!std::regex_search(text, match, std::regex(pattern)))
        return {};
    return Clause{match[1].str(), match.size() > 2 ? match[2].str() : std::string(),
                  match.suffix().str()};
}

// The words of text, read as T up to the first that can't be.
template <typename T>
std::vector<T> split(const std::string& text) {
    std::istringstream in(text);
    // A heap that runs out must not pass for the end of the text.
    in.exceptions(std::ios::badbit);
    std::vector<T> words;
    for (T word; in >> word;)
        words.push_back(word);
    return words;
}

std::optional<int> toInt(const std::string& digits) {
    int value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return result.ec == std::errc() ? std::optional(value) : std::nullopt;
}

std::optional<AggregationMethod> toMethod(const std::string& text) {
    for (const auto& [method, methodText] : aggregationMethodTexts()) {
        if (methodText == text)
            return method;
    }
    return {};
}

unsigned int quotient(unsigned int dividend, unsigned int divisor) {
    return divisor == 0 ? 0 : dividend / divisor;
}

bool eachDividesTheNext(const std::vector<unsigned int>& numbers) {
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        if (numbers[i] - numbers[i - 1] * quotient(numbers[i], numbers[i - 1]) != 0)
            return false;
    }
    return true;
}

// A chain of windows: each number is the scope of one aggregator, which keeps enough results to
// span the next number.
template <typename Params, typename Scope>
bool tryParseWindows(std::string& text, const char* pattern,
                     std::pmr::vector<AggregatorClause>& aggregators) {
    const auto clause = findClause(text, pattern);
    if (!clause)
        return false;
    const auto method = toMethod(clause->first);
    const auto scopes = split<unsigned int>(clause->second);
    if (!method || !eachDividesTheNext(scopes))
        return false;
    for (std::size_t i = 0; i + 1 < scopes.size(); ++i)
        aggregators.emplace_back(*method,
                                 Params{Scope(scopes[i]), quotient(scopes[i + 1], scopes[i])});
    text = clause->rest;
    return true;
}

template <typename Params, typename Scope>
bool tryParseList(std::string& text, const char* pattern,
                  std::pmr::vector<AggregatorClause>& aggregators) {
    const auto clause = findClause(text, pattern);
    if (!clause)
        return false;
    const auto scopes = split<unsigned int>(clause->first);
    aggregators.emplace_back(AggregationMethod::List, Params{Scope(scopes.at(0))});
    text = clause->rest;
    return true;
}

// What every new aggregator of a key is built from besides its parameters.
template <typename T>
struct FirstSample {
    time_point now;
    const T& value;
    const std::pmr::polymorphic_allocator<>& content;
    const std::pmr::polymorphic_allocator<>& main;
};

template <typename Class, typename T>
AggregatorPtr build(const AggregatorParamsVariant& params, const FirstSample<T>& sample) {
    return std::allocate_shared<Class>(
        std::pmr::polymorphic_allocator<Class>(sample.main.resource()), params, sample.now,
        sample.value, sample.content, sample.main);
}

// Null, here and below, if this kind of sample has no aggregator for the clause.
template <typename T>
AggregatorPtr buildList(const AggregatorClause& clause, const FirstSample<T>& sample) {
    const auto& [method, params] = clause;
    if (method != AggregationMethod::List)
        return nullptr;
    if (std::holds_alternative<CountList>(params))
        return build<CountListAggregator<T>>(params, sample);
    if (std::holds_alternative<DurationList>(params))
        return build<DurationListAggregator<T>>(params, sample);
    return nullptr;
}

template <typename Average, typename Max, typename Min>
AggregatorPtr buildLevel(const AggregatorClause& clause,
                         const FirstSample<Qdx::V1::MeasurementData>& sample) {
    const auto& [method, params] = clause;
    switch (method) {
        case AggregationMethod::Average:
            return build<Average>(params, sample);
        case AggregationMethod::Max:
            return build<Max>(params, sample);
        case AggregationMethod::Min:
            return build<Min>(params, sample);
        default:
            return nullptr;
    }
}

AggregatorPtr buildFor(const AggregatorClause& clause,
                       const FirstSample<Qdx::V1::MeasurementData>& sample) {
    if (std::holds_alternative<CountNonList>(clause.second))
        return buildLevel<CountAverageAggregator, CountMaxAggregator, CountMinAggregator>(clause,
                                                                                          sample);
    if (std::holds_alternative<DurationNonList>(clause.second))
        return buildLevel<DurationAverageAggregator, DurationMaxAggregator, DurationMinAggregator>(
            clause, sample);
    return buildList(clause, sample);
}

AggregatorPtr buildFor(const AggregatorClause& clause,
                       const FirstSample<Qdx::V1::CounterData>& sample) {
    const auto& [method, params] = clause;
    if (method != AggregationMethod::Sum)
        return buildList(clause, sample);
    if (std::holds_alternative<CountNonList>(params))
        return build<CountSumAggregator>(params, sample);
    if (std::holds_alternative<DurationNonList>(params))
        return build<DurationSumAggregator>(params, sample);
    return nullptr;
}

AggregatorPtr buildFor(const AggregatorClause& clause, const FirstSample<RecordData>& sample) {
    return buildList(clause, sample);
}

template <typename T>
void appendAggregators(std::pmr::vector<CaptureStatement::AggregatorEntry>& out,
                       const std::pmr::vector<AggregatorClause>& clauses,
                       const FirstSample<T>& sample) {
    for (const auto& clause : clauses) {
        if (auto aggregator = buildFor(clause, sample))
            out.emplace_back(std::move(aggregator), clause.second);
    }
}

}  // namespace

CaptureStatement::CaptureStatement(const std::pmr::polymorphic_allocator<std::byte>& allocator)
    : tags(allocator), context(allocator), aggregators(allocator) {}

std::optional<CaptureStatement> CaptureStatement::parse(std::string& text) {
    if (text.size() > maxTextSize)
        return {};
    CaptureStatement statement(std::pmr::new_delete_resource());
    statement.tryParseTags(text);
    statement.tryParseContext(text);
    while (!text.empty()) {
        if (!statement.tryParseDurationNonList(text) && !statement.tryParseCountNonList(text) &&
            !statement.tryParseDurationList(text) && !statement.tryParseCountList(text))
            return {};
    }
    if (statement.aggregators.empty())
        return {};
    return statement;
}

void CaptureStatement::tryParseTags(std::string& text) {
    const auto clause = findClause(text, R"(^ tags((?: [A-Z_]+)+))");
    if (!clause)
        return;
    for (const auto& tag : split<std::string>(clause->first))
        tags.emplace(tag);
    text = clause->rest;
}

void CaptureStatement::tryParseContext(std::string& text) {
    const auto clause = findClause(text, R"(^ context((?: [a-z][a-zA-Z]* -?\d+)+))");
    if (!clause)
        return;
    const auto words = split<std::string>(clause->first);
    for (std::size_t i = 0; i + 1 < words.size(); i += 2) {
        const auto value = toInt(words[i + 1]);
        if (!Qdx::V1::InfoObjectContextImpl::toSym(words[i]) || !value)
            return;
        context.emplace(words[i], *value);
    }
    text = clause->rest;
}

bool CaptureStatement::tryParseCountNonList(std::string& text) {
    return tryParseWindows<CountNonList, std::uint32_t>(
        text, R"(^ (min|max|average|sum) count((?: \d+){2,}))", aggregators);
}

bool CaptureStatement::tryParseDurationNonList(std::string& text) {
    return tryParseWindows<DurationNonList, std::chrono::seconds>(
        text, R"(^ (min|max|average|sum) duration((?: \d+){2,}))", aggregators);
}

bool CaptureStatement::tryParseCountList(std::string& text) {
    return tryParseList<CountList, std::uint32_t>(text, R"(^ list count( \d+))", aggregators);
}

bool CaptureStatement::tryParseDurationList(std::string& text) {
    return tryParseList<DurationList, std::chrono::seconds>(text, R"(^ list duration( \d+))",
                                                            aggregators);
}

bool CaptureStatement::operator<(const CaptureStatement& other) const {
    return std::tie(tags, aggregators) < std::tie(other.tags, other.aggregators);
}

bool CaptureStatement::captures(const InfoObject& object, const std::string& sampleContext) const {
    return object.hasAllTags(tags) &&
           Qdx::V1::InfoObjectContextImpl::matches(context, sampleContext);
}

void CaptureStatement::createAggregators(
    std::pmr::vector<AggregatorEntry>& out, const InfoObject& object,
    const std::string& sampleContext, time_point now, const Qdx::V1::MeasurementData& value,
    const std::pmr::polymorphic_allocator<std::byte>& content,
    const std::pmr::polymorphic_allocator<std::byte>& main) const {
    if (captures(object, sampleContext))
        appendAggregators<Qdx::V1::MeasurementData>(out, aggregators, {now, value, content, main});
}

void CaptureStatement::createAggregators(
    std::pmr::vector<AggregatorEntry>& out, const InfoObject& object,
    const std::string& sampleContext, time_point now, const Qdx::V1::CounterData& value,
    const std::pmr::polymorphic_allocator<std::byte>& content,
    const std::pmr::polymorphic_allocator<std::byte>& main) const {
    if (captures(object, sampleContext))
        appendAggregators<Qdx::V1::CounterData>(out, aggregators, {now, value, content, main});
}

void CaptureStatement::createAggregators(
    std::pmr::vector<AggregatorEntry>& out, const InfoObject& object,
    const std::string& sampleContext, time_point now, const RecordData& value,
    const std::pmr::polymorphic_allocator<std::byte>& content,
    const std::pmr::polymorphic_allocator<std::byte>& main) const {
    if (captures(object, sampleContext))
        appendAggregators<RecordData>(out, aggregators, {now, value, content, main});
}

}  // namespace Qdx::Backend
