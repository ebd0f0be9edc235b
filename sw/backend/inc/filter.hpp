// A named set of capture statements with everything that they have collected.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <memory_resource>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "captureStatement.hpp"
#include "filterId.hpp"

namespace Qdx::Backend {

// Is offered every sample while it is enabled. The first sample of a pair of info object and
// context evaluates the capture statements and builds the aggregators, or remembers that nothing
// captures the pair; from then on a sample costs one look-up by context text, two by number, and no
// allocation here.
//
// Structures live in main memory, samples in content memory. A first sample that either refuses is
// lost without a word and the filter stays whole; later refusals cost the oldest data of that key.
// One thread at a time; reads no clock.
class Filter {
public:
    // Identity of the info object and number of the context.
    using AggregatorKey = std::pair<unsigned int, unsigned int>;

    // Copies would keep their data outside the budget.
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;

    // The resources behind content and main must outlive the filter. A static filter collects
    // nothing until markAsUsed().
    Filter(const std::string& name, const std::vector<CaptureStatement>& statements,
           Enabled enabled, Static isStatic, Printable printable,
           const std::pmr::polymorphic_allocator<std::byte>& content,
           const std::pmr::polymorphic_allocator<std::byte>& main);

    std::pmr::polymorphic_allocator<std::byte> get_allocator() const;
    std::string getName() const { return std::string(name); }
    const std::pmr::vector<CaptureStatement>& getCaptureStatements() const {
        return captureStatements;
    }

    void enable() { enabled = Enabled::Yes; }
    // Drops all that was collected and every decision about pairs; context numbers stay.
    void disable();
    void markAsUsed() { used = Used::Yes; }
    bool isEnabled() const { return enabled == Enabled::Yes; }
    bool isStatic() const { return staticFilter == Static::Yes; }
    bool isPrintable() const { return printable == Printable::Yes; }

    bool isUsed() const { return used == Used::Yes; }

    // Take a sample. REQUIRES: isEnabled(). Exceptions other than std::bad_alloc pass through;
    // pushRecord also passes the std::bad_alloc of a record that main memory can't hold for a
    // moment.
    void pushMeasurement(const InfoObject& object, const std::string& context, time_point now,
                         const Qdx::V1::MeasurementData& value);
    void pushCounter(const InfoObject& object, const std::string& context, time_point now,
                     const Qdx::V1::CounterData& value);
    void pushRecord(const InfoObject& object, const std::string& context, time_point now,
                    const std::vector<unsigned char>& value);

    // Calls visit with the entry of each aggregator that takes the samples of a pair, in the order
    // in which they are fed; never, if nothing captures it. False if the filter has yet to decide
    // about the pair. A decision holds until aggregators are erased.
    bool visitDecided(
        const InfoObject& object, std::string_view context,
        const std::function<void(const CaptureStatement::AggregatorEntry&)>& visit) const;

    // Has every aggregator add what it keeps to the encoder, by identity, context number and age of
    // the aggregator; with Clear::Yes each is cleared right after.
    void pullData(time_point now, OutputEncoderIf* encoder, Clear clear);

    // Drops what aggregators keep; the aggregators and their open windows stay.
    void clearData(time_point now);

    // Drops the aggregators with their data and every decision about pairs; flag and context
    // numbers stay.
    void eraseAggregators() noexcept;

    // Calls visit with identity and context text, once for each aggregator, in the order of
    // pullData.
    void getCapturedObjects(
        const std::function<void(const std::pair<InfoObjectId, std::string>&)>& visit) const;

    // The context texts by number, as a copy on the ordinary heap.
    std::map<unsigned int, std::string> reverseContextsMap() const;

private:
    enum class Used : std::int32_t { Yes = 0, No = 1 };

    template <typename T>
    void push(const InfoObject& object, const std::string& context, time_point now, const T& value);
    std::optional<unsigned int> contextNumber(const std::string& context);
    template <typename T>
    void capture(const AggregatorKey& key, const InfoObject& object, const std::string& context,
                 time_point now, const T& value);

    std::pmr::string name;
    // Only the vector's buffer is on the filter's memory; what the statements hold is on the
    // default resource.
    std::pmr::vector<CaptureStatement> captureStatements;
    Enabled enabled;
    Static staticFilter;
    Printable printable;
    Used used;

    // Grows with the distinct context texts offered, and never shrinks.
    std::pmr::map<std::pmr::string, unsigned int, std::less<>> contexts;
    // A key is in aggregators, in uncaptured, or not decided yet.
    std::pmr::multimap<AggregatorKey, CaptureStatement::AggregatorEntry> aggregators;
    std::pmr::set<AggregatorKey> uncaptured;
    std::pmr::polymorphic_allocator<std::byte> contentAllocator;
};

}  // namespace Qdx::Backend
