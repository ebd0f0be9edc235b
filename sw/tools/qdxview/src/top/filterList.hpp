// The filters of a collector, as its commands list them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Qdxview {

struct ListedFilter {
    std::int64_t id = 0;
    std::string name;  // as it was configured, or the id
    bool enabled = false;
    std::string tags;       // "CPU, NET"
    bool captures = false;  // whether the listing shows that it captures something

    // The configuration prescribes it. One that is named like its id doesn't show it.
    bool isPrescribed() const { return name != std::to_string(id); }
};

// The filters in the answers to "dch filter status" and "rodc list", or in both of them behind each
// other, by ascending id. What isn't understood is left out.
std::vector<ListedFilter> parseListing(std::string_view text);

// The word that makes a command reach this filter of the list. Commands take the first filter whose
// name or id is the word, so a name can stand in the way of an id. Empty if no word reaches it.
std::optional<std::string> wordFor(const ListedFilter& filter,
                                   const std::vector<ListedFilter>& all);

// The filter that a word reaches; null if none.
const ListedFilter* reachedBy(const std::string& word, const std::vector<ListedFilter>& all);

}  // namespace Qdxview
