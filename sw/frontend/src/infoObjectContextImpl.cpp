#include "infoObjectContextImpl.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <unordered_map>

namespace Qdx::V1 {
namespace {

struct Field {
    std::string_view key;
    int number;
    void (InfoObjectContext::*set)(std::int32_t);
};

using Context = InfoObjectContext;

constexpr std::array fields{
    Field{"macroRfPort", Context::kMacroRfPortFieldNumber, &Context::set_macro_rf_port},
    Field{"aasRfPortRow", Context::kAasRfPortRowFieldNumber, &Context::set_aas_rf_port_row},
    Field{"aasRfPortColumn", Context::kAasRfPortColumnFieldNumber,
          &Context::set_aas_rf_port_column},
    Field{"aasRfPortPolarization", Context::kAasRfPortPolarizationFieldNumber,
          &Context::set_aas_rf_port_polarization},
    Field{"rfBranch", Context::kRfBranchFieldNumber, &Context::set_rf_branch},
    Field{"carrierId", Context::kCarrierIdFieldNumber, &Context::set_carrier_id},
    Field{"dfeId", Context::kDfeIdFieldNumber, &Context::set_dfe_id},
    Field{"clientId", Context::kClientIdFieldNumber, &Context::set_client_id},
    Field{"deviceId", Context::kDeviceIdFieldNumber, &Context::set_device_id},
};

std::optional<std::size_t> findField(std::string_view key) {
    const auto* const found = std::find_if(fields.begin(), fields.end(),
                                           [key](const Field& field) { return field.key == key; });
    if (found == fields.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - fields.begin());
}

std::optional<std::int32_t> parseValue(std::string_view text) {
    std::int32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

// The value of each field that a context names, by position in fields.
using Values = std::array<std::optional<std::int32_t>, fields.size()>;

// False if the text is no pair, its key is unknown or has a value already.
bool decodePair(std::string_view pair, Values& values) {
    const std::size_t separator = pair.find('=');
    if (separator == std::string_view::npos) {
        return false;
    }
    const auto field = findField(pair.substr(0, separator));
    if (!field || values[*field]) {
        return false;
    }
    values[*field] = parseValue(pair.substr(separator + 1));
    return values[*field].has_value();
}

std::optional<Values> decode(std::string_view text) {
    Values values;
    while (true) {
        const std::size_t comma = text.find(',');
        if (!decodePair(text.substr(0, comma), values)) {
            return std::nullopt;
        }
        if (comma == std::string_view::npos) {
            return values;
        }
        text.remove_prefix(comma + 1);
    }
}

InfoObjectContext toMessage(const Values& values) {
    InfoObjectContext message;
    for (std::size_t field = 0; field < fields.size(); ++field) {
        if (values[field]) {
            (message.*fields[field].set)(*values[field]);
        }
    }
    return message;
}

// Decoded contexts by their texts. Entries are never removed, and growth doesn't move them.
class ContextStore {
public:
    const InfoObjectContext* find(const std::string& text) const {
        const std::shared_lock lock(mutex);
        const auto found = contexts.find(text);
        return found == contexts.end() ? nullptr : &found->second;
    }

    const InfoObjectContext* insert(const std::string& text, InfoObjectContext&& context) {
        const std::unique_lock lock(mutex);
        return &contexts.try_emplace(text, std::move(context)).first->second;
    }

private:
    mutable std::shared_mutex mutex;
    std::unordered_map<std::string, InfoObjectContext> contexts;
};

// Never destroyed: its contexts are promised until the process ends.
ContextStore& store() {
    static auto& instance = *new ContextStore;
    return instance;
}

}  // namespace

std::optional<int> InfoObjectContextImpl::toSym(const std::string& key) {
    const auto field = findField(key);
    return field ? std::optional(fields[*field].number) : std::nullopt;
}

bool InfoObjectContextImpl::matches(const Selector& selector, const std::string& context) {
    if (selector.empty()) {
        return true;
    }
    const auto values = decode(context);
    if (!values) {
        return false;
    }
    for (auto key = selector.begin(); key != selector.end();) {
        const auto nextKey = selector.upper_bound(key->first);
        const auto field = findField(key->first);
        const bool wanted = field && std::any_of(key, nextKey, [&](const auto& entry) {
                                return (*values)[*field] == entry.second;
                            });
        if (!wanted) {
            return false;
        }
        key = nextKey;
    }
    return true;
}

const InfoObjectContext* InfoObjectContextImpl::cache(const std::string& context) {
    if (const InfoObjectContext* known = store().find(context)) {
        return known;
    }
    const auto values = decode(context);
    return values ? store().insert(context, toMessage(*values)) : nullptr;
}

}  // namespace Qdx::V1
