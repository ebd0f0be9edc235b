// One line of a filter: which data it wants and how to keep it.
#pragma once

#include <map>
#include <memory>
#include <memory_resource>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "aggregator.hpp"
#include "infoObject.hpp"

namespace Qdx::Backend {

// " tags CPU NET context rfBranch 3 min count 10 100 list duration 60": optional tags that an
// object must all have, an optional context selector, then one or more aggregator clauses. Every
// clause begins with one blank, the first included. Doesn't change once parsed.
//
// The class has no allocator_type: copies, also those inside a container on a budget, take the
// default resource.
class CaptureStatement {
public:
    using AggregatorEntry = std::pair<std::shared_ptr<Aggregator>, AggregatorParamsVariant>;

    // Texts longer than this are refused as unparsable: the standard library's regular expressions
    // recurse once per character.
    static constexpr std::size_t maxTextSize = 8192;

    explicit CaptureStatement(const std::pmr::polymorphic_allocator<std::byte>& allocator);

    // Empty on failure; text then holds what wasn't consumed. Throws std::out_of_range when the
    // number of a list clause doesn't fit 32 bits.
    static std::optional<CaptureStatement> parse(std::string& text);

    // Consume one clause at the start of text and take it into the statement. False: none stands
    // there, text and statement are as before. A context clause with an unknown key or a value that
    // doesn't fit is not consumed, but leaves the pairs before it behind. The list clauses throw
    // like parse.
    void tryParseTags(std::string& text);
    void tryParseContext(std::string& text);
    bool tryParseCountNonList(std::string& text);
    bool tryParseDurationNonList(std::string& text);
    bool tryParseCountList(std::string& text);
    bool tryParseDurationList(std::string& text);

    const std::pmr::set<std::pmr::string>& getTags() const { return tags; }

    // By tags, then by aggregators; the context takes no part.
    bool operator<(const CaptureStatement& other) const;

    // Appends an aggregator for each entry that has one for this kind of sample, if the object and
    // the context are captured. The sample enters through the constructors. std::bad_alloc passes
    // through; what was appended stays for the caller to drop.
    void createAggregators(std::pmr::vector<AggregatorEntry>& out, const InfoObject& object,
                           const std::string& context, time_point now,
                           const Qdx::V1::MeasurementData& value,
                           const std::pmr::polymorphic_allocator<std::byte>& content,
                           const std::pmr::polymorphic_allocator<std::byte>& main) const;
    void createAggregators(std::pmr::vector<AggregatorEntry>& out, const InfoObject& object,
                           const std::string& context, time_point now,
                           const Qdx::V1::CounterData& value,
                           const std::pmr::polymorphic_allocator<std::byte>& content,
                           const std::pmr::polymorphic_allocator<std::byte>& main) const;
    void createAggregators(std::pmr::vector<AggregatorEntry>& out, const InfoObject& object,
                           const std::string& context, time_point now, const RecordData& value,
                           const std::pmr::polymorphic_allocator<std::byte>& content,
                           const std::pmr::polymorphic_allocator<std::byte>& main) const;

private:
    bool captures(const InfoObject& object, const std::string& sampleContext) const;

    std::pmr::set<std::pmr::string> tags;
    std::pmr::multimap<std::pmr::string, int> context;
    std::pmr::vector<std::pair<AggregationMethod, AggregatorParamsVariant>> aggregators;
};

}  // namespace Qdx::Backend
