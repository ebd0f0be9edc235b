#include "completion.hpp"

#include <algorithm>
#include <iterator>
#include <set>

#include "syntax.hpp"

namespace Dch {

namespace {

bool isOneWord(const std::string& text) {
    constexpr unsigned char blank = 0x20;
    constexpr unsigned char del = 0x7F;
    return !text.empty() && std::none_of(text.begin(), text.end(), [](unsigned char byte) {
        return byte <= blank || byte == del;
    });
}

}  // namespace

Words choose(Words candidates, const std::string& text) {
    std::erase_if(candidates, [&](const std::string& candidate) {
        return !candidate.starts_with(text) || !isOneWord(candidate);
    });
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    return candidates;
}

Words complete(const Table& table, const Words& words, const ValuesOf& valuesOf) {
    const Words before(words.begin(), std::prev(words.end()));
    Words candidates;
    std::set<std::string> parameters;
    for (const auto& row : table) {
        const auto places = parseSyntax(row.syntax);
        const auto* const place = findPlaceBehind(places, before);
        if (place == nullptr) {
            continue;
        }
        candidates.insert(candidates.end(), place->choices.begin(), place->choices.end());
        if (place->choices.empty()) {
            parameters.insert(place->parameter);
        }
    }
    for (const auto& parameter : parameters) {
        const auto values = valuesOf(parameter);
        candidates.insert(candidates.end(), values.begin(), values.end());
    }
    return choose(std::move(candidates), words.back());
}

Table rowsThatFit(const Table& table, const Words& words) {
    Table rows;
    std::copy_if(table.begin(), table.end(), std::back_inserter(rows),
                 [&](const Row& row) { return fit(parseSyntax(row.syntax), words); });
    return rows;
}

}  // namespace Dch
