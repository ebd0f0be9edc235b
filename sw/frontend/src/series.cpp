#include "series.hpp"

#include <utility>

namespace Qdx::Frontend {

Series& SeriesTable::define(Sender& sender, V1::SampleKey key) {
    if (Series* known = find(key.bytes())) {
        return *known;
    }
    Series& made = all.emplace_back(Series{.sender = sender, .key = std::move(key)});
    try {
        byKey.emplace(made.key.bytes(), &made);
    } catch (...) {
        all.pop_back();
        throw;
    }
    return made;
}

Series* SeriesTable::find(std::string_view keyBytes) const {
    const auto found = byKey.find(keyBytes);
    return found == byKey.end() ? nullptr : found->second;
}

}  // namespace Qdx::Frontend
