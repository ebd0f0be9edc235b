#include "filter.hpp"

#include <new>
#include <string_view>

namespace Qdx::Backend {

Filter::Filter(const std::string& filterName, const std::vector<CaptureStatement>& statements,
               Enabled isEnabled, Static isStatic, Printable isPrintable,
               const std::pmr::polymorphic_allocator<std::byte>& content,
               const std::pmr::polymorphic_allocator<std::byte>& main)
    : name(filterName, main),
      captureStatements(statements.begin(), statements.end(), main),
      enabled(isEnabled),
      staticFilter(isStatic),
      printable(isPrintable),
      used(isStatic == Static::Yes ? Used::No : Used::Yes),
      contexts(main),
      aggregators(main),
      uncaptured(main),
      contentAllocator(content) {}

std::pmr::polymorphic_allocator<std::byte> Filter::get_allocator() const {
    return name.get_allocator();
}

void Filter::disable() {
    eraseAggregators();
    enabled = Enabled::No;
}

void Filter::pushMeasurement(const InfoObject& object, const std::string& context, time_point now,
                             const Qdx::V1::MeasurementData& value) {
    push(object, context, now, value);
}

void Filter::pushCounter(const InfoObject& object, const std::string& context, time_point now,
                         const Qdx::V1::CounterData& value) {
    push(object, context, now, value);
}

void Filter::pushRecord(const InfoObject& object, const std::string& context, time_point now,
                        const std::vector<unsigned char>& value) {
    if (used != Used::Yes) {
        return;
    }
    const RecordData record(value.begin(), value.end(), get_allocator());
    push(object, context, now, record);
}

template <typename T>
void Filter::push(const InfoObject& object, const std::string& context, time_point now,
                  const T& value) {
    if (used != Used::Yes) {
        return;
    }
    const auto number = contextNumber(context);
    if (!number) {
        return;
    }
    const AggregatorKey key{static_cast<unsigned int>(object.getId()), *number};
    if (uncaptured.contains(key)) {
        return;
    }
    const auto [first, last] = aggregators.equal_range(key);
    if (first == last) {
        capture(key, object, context, now, value);
        return;
    }
    for (auto entry = first; entry != last; ++entry) {
        const auto& [aggregator, params] = entry->second;
        aggregator->feedValue(params, now, value);
    }
}

// Empty if there is no memory for a new text.
std::optional<unsigned int> Filter::contextNumber(const std::string& context) {
    const auto known = contexts.find(std::string_view(context));
    if (known != contexts.end()) {
        return known->second;
    }
    const auto number = static_cast<unsigned int>(contexts.size());
    try {
        contexts.emplace(std::string_view(context), number);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
    return number;
}

// Decides about a new key. The sample enters the aggregators through their constructors. Without
// memory for all of it the key stays undecided, and its next sample tries again.
template <typename T>
void Filter::capture(const AggregatorKey& key, const InfoObject& object, const std::string& context,
                     time_point now, const T& value) {
    try {
        std::pmr::vector<CaptureStatement::AggregatorEntry> created(get_allocator());
        for (const auto& statement : captureStatements) {
            statement.createAggregators(created, object, context, now, value, contentAllocator,
                                        get_allocator());
        }
        if (created.empty()) {
            uncaptured.insert(key);
        }
        for (const auto& entry : created) {
            aggregators.emplace(key, entry);
        }
    } catch (const std::bad_alloc&) {
        uncaptured.erase(key);
        aggregators.erase(key);
    }
}

bool Filter::visitDecided(
    const InfoObject& object, std::string_view context,
    const std::function<void(const CaptureStatement::AggregatorEntry&)>& visit) const {
    const auto number = contexts.find(context);
    if (number == contexts.end()) {
        return false;
    }
    const AggregatorKey key{static_cast<unsigned int>(object.getId()), number->second};
    const auto [first, last] = aggregators.equal_range(key);
    for (auto entry = first; entry != last; ++entry) {
        visit(entry->second);
    }
    return first != last || uncaptured.contains(key);
}

void Filter::pullData(time_point now, OutputEncoderIf* encoder, Clear clear) {
    const auto texts = reverseContextsMap();
    for (const auto& [key, entry] : aggregators) {
        const auto& [aggregator, params] = entry;
        const std::pair<InfoObjectId, std::string> source{InfoObjectId{key.first},
                                                          texts.at(key.second)};
        aggregator->pullData(params, now, source, encoder);
        if (clear == Clear::Yes) {
            aggregator->clearData(params, now);
        }
    }
}

void Filter::clearData(time_point now) {
    for (const auto& [key, entry] : aggregators) {
        const auto& [aggregator, params] = entry;
        aggregator->clearData(params, now);
    }
}

void Filter::eraseAggregators() noexcept {
    aggregators.clear();
    uncaptured.clear();
}

void Filter::getCapturedObjects(
    const std::function<void(const std::pair<InfoObjectId, std::string>&)>& visit) const {
    const auto texts = reverseContextsMap();
    for (const auto& [key, entry] : aggregators) {
        visit({InfoObjectId{key.first}, texts.at(key.second)});
    }
}

std::map<unsigned int, std::string> Filter::reverseContextsMap() const {
    std::map<unsigned int, std::string> texts;
    for (const auto& [text, number] : contexts) {
        texts.emplace(number, text);
    }
    return texts;
}

}  // namespace Qdx::Backend
