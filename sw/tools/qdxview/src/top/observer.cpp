#include "observer.hpp"

#include <algorithm>

namespace Qdxview {

namespace {

constexpr std::size_t widestText = 200;

}  // namespace

Observer::Observer(UnitConfiguration unit, std::vector<std::string> only, Qdx::Pull::Glyphs look)
    : configuration(std::move(unit)), words(std::move(only)), glyphs(look) {
    known.globalLimit = configuration.globalLimit;
}

void Observer::asks(WallTime when) {
    known.askedSince = when;
}

void Observer::answered(WallTime when) {
    known.askedSince.reset();
    known.answered = when;
    known.complaint.clear();
}

void Observer::listed(std::vector<ListedFilter> list, WallTime when) {
    answered(when);
    all = std::move(list);
    std::vector<FilterPicture> filters;
    for (const auto& filter : all) {
        if (isOfInterest(filter)) {
            filters.push_back(renewed(filter));
        }
    }
    known.filters = std::move(filters);
}

void Observer::pulled(std::int64_t filter, Qdx::Pull::PullDigest digest, WallTime when) {
    answered(when);
    known.radio = digest.radio;
    if (auto* const picture = find(filter)) {
        picture->digest = std::make_shared<const Qdx::Pull::PullDigest>(std::move(digest));
        picture->pulled = when;
        picture->note.clear();
    }
}

void Observer::refused(std::int64_t filter, const std::string& why, WallTime when) {
    answered(when);
    if (auto* const picture = find(filter)) {
        picture->digest.reset();
        picture->pulled.reset();
        picture->note = why;
    }
}

void Observer::unanswered(const std::string& why) {
    known.askedSince.reset();
    known.complaint = why;
}

void Observer::wake(std::int64_t filter) {
    for (const auto& listed : all) {
        if (listed.id == filter) {
            awake.insert(listed.name);
            if (auto* const picture = find(filter)) {
                picture->state = stateOf(listed);
            }
        }
    }
}

std::vector<std::int64_t> Observer::pullable() const {
    std::vector<std::int64_t> filters;
    for (const auto& filter : known.filters) {
        if (known.complaint.empty() && filter.state == FilterState::Collects) {
            filters.push_back(filter.id);
        }
    }
    return filters;
}

std::string Observer::wordFor(std::int64_t filter) const {
    const auto listed = std::find_if(all.begin(), all.end(),
                                     [filter](const auto& one) { return one.id == filter; });
    return listed == all.end() ? "" : Qdxview::wordFor(*listed, all).value_or("");
}

FilterPicture Observer::renewed(const ListedFilter& filter) const {
    const auto plain = [this](const std::string& text) {
        return Qdx::Pull::cutTo(Qdx::Pull::plainText(text, glyphs), widestText, glyphs);
    };
    FilterPicture picture;
    picture.id = filter.id;
    picture.name = plain(filter.name);
    picture.tags = plain(filter.tags);
    picture.state = stateOf(filter);
    const auto prescribed = configuration.prescribed.find(filter.name);
    if (prescribed != configuration.prescribed.end()) {
        picture.limit = prescribed->second;
    }
    // The same number can be another filter's once the collector has restarted.
    const auto before = std::find_if(
        known.filters.begin(), known.filters.end(),
        [&picture](const auto& one) { return one.id == picture.id && one.name == picture.name; });
    if (before != known.filters.end() && picture.state == FilterState::Collects) {
        picture.digest = before->digest;
        picture.pulled = before->pulled;
        picture.note = before->note;
    }
    return picture;
}

bool Observer::isOfInterest(const ListedFilter& filter) const {
    return words.empty() || std::any_of(words.begin(), words.end(), [&](const auto& word) {
               const auto* const reached = reachedBy(word, all);
               return reached != nullptr && reached->id == filter.id;
           });
}

FilterState Observer::stateOf(const ListedFilter& filter) const {
    if (!filter.enabled) {
        return FilterState::Disabled;
    }
    if (!Qdxview::wordFor(filter, all)) {
        return FilterState::Unreachable;
    }
    const bool prescribed = filter.isPrescribed() || configuration.prescribed.contains(filter.name);
    const bool isAwake = filter.captures || !words.empty() || awake.contains(filter.name);
    return prescribed && !isAwake ? FilterState::Sleeps : FilterState::Collects;
}

FilterPicture* Observer::find(std::int64_t filter) {
    const auto found = std::find_if(known.filters.begin(), known.filters.end(),
                                    [filter](const auto& one) { return one.id == filter; });
    return found == known.filters.end() ? nullptr : &*found;
}

}  // namespace Qdxview
