#include "filterList.hpp"

#include <algorithm>
#include <charconv>

namespace Qdxview {

namespace {

constexpr std::string_view begin = " Filter ";
constexpr std::string_view afterId = "): Enabled: ";
constexpr std::string_view beforeTags = ", FilterTag(s):";
constexpr std::string_view capturedObject = "   ";

std::string_view cutLine(std::string_view& text) {
    const auto line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    return line;
}

std::optional<std::int64_t> parseId(std::string_view digits) {
    std::int64_t id = 0;
    const auto* const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, id);
    return error == std::errc() && rest == end ? std::optional(id) : std::nullopt;
}

// " Filter NAME (ID): Enabled: Yes, FilterTag(s): TAG, TAG". A name may hold anything, tags hold no
// blanks: the marks are looked for from the end.
std::optional<ListedFilter> parseFilter(std::string_view line) {
    const auto idEnd = line.rfind(afterId);
    if (!line.starts_with(begin) || idEnd == std::string_view::npos) {
        return std::nullopt;
    }
    const auto head = line.substr(0, idEnd);
    const auto idBegin = head.rfind(" (");
    const auto tags = line.find(beforeTags, idEnd);
    if (idBegin == std::string_view::npos || idBegin < begin.size() ||
        tags == std::string_view::npos) {
        return std::nullopt;
    }
    const auto id = parseId(head.substr(idBegin + 2));
    if (!id) {
        return std::nullopt;
    }
    ListedFilter filter;
    filter.id = *id;
    filter.name = head.substr(begin.size(), idBegin - begin.size());
    filter.enabled = line.substr(idEnd + afterId.size()).starts_with("Yes");
    const auto list = line.substr(tags + beforeTags.size());
    filter.tags = list.substr(std::min(list.size(), std::size_t{1}));
    return filter;
}

}  // namespace

std::vector<ListedFilter> parseListing(std::string_view text) {
    std::vector<ListedFilter> filters;
    while (!text.empty()) {
        const auto line = cutLine(text);
        if (auto filter = parseFilter(line)) {
            filters.push_back(std::move(*filter));
        } else if (line.starts_with(capturedObject) && !filters.empty()) {
            filters.back().captures = true;
        }
    }
    std::sort(filters.begin(), filters.end(),
              [](const auto& one, const auto& other) { return one.id < other.id; });
    return filters;
}

const ListedFilter* reachedBy(const std::string& word, const std::vector<ListedFilter>& all) {
    const auto found = std::find_if(all.begin(), all.end(), [&word](const auto& filter) {
        return filter.name == word || std::to_string(filter.id) == word;
    });
    return found == all.end() ? nullptr : &*found;
}

std::optional<std::string> wordFor(const ListedFilter& filter,
                                   const std::vector<ListedFilter>& all) {
    for (const auto& word : {std::to_string(filter.id), filter.name}) {
        const auto* const reached = reachedBy(word, all);
        const bool isOneWord =
            !word.empty() && word.find_first_of(" \t\r\v\f") == std::string::npos;
        if (isOneWord && reached != nullptr && reached->id == filter.id) {
            return word;
        }
    }
    return std::nullopt;
}

}  // namespace Qdxview
