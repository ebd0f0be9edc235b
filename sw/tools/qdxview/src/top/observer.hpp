// Puts together what is known of a collector, answer by answer.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "filterList.hpp"
#include "picture.hpp"
#include "unitConfiguration.hpp"

namespace Qdxview {

// Looking must not change what is looked at: the first pull of a filter that the configuration
// prescribes is what makes it collect, and takes memory from then on. So such a filter sleeps, for
// us, until somebody is seen to have woken it: its listing shows what it captures, or wake() was
// called.
class Observer {
public:
    // only: words that reach the filters of interest, as commands take them, which wakes these;
    // empty for all filters. The texts of the picture are made of these glyphs.
    Observer(UnitConfiguration unit, std::vector<std::string> only, Qdx::Pull::Glyphs look);

    const Picture& picture() const { return known; }

    // Before a question is asked, whose answer is one of those below.
    void asks(WallTime when);

    void listed(std::vector<ListedFilter> list, WallTime when);
    void pulled(std::int64_t filter, Qdx::Pull::PullDigest digest, WallTime when);
    // The collector answered, but didn't give the pull: it has nothing for us now.
    void refused(std::int64_t filter, const std::string& why, WallTime when);
    // All else stays as it was.
    void unanswered(const std::string& why);

    // The filter may be pulled from now on.
    void wake(std::int64_t filter);

    // Those of the latest list that aren't disabled and don't sleep; none while the collector
    // doesn't answer.
    std::vector<std::int64_t> pullable() const;

    // What to call a pullable filter in a command.
    std::string wordFor(std::int64_t filter) const;

private:
    FilterPicture renewed(const ListedFilter& filter) const;
    bool isOfInterest(const ListedFilter& filter) const;
    FilterState stateOf(const ListedFilter& filter) const;
    FilterPicture* find(std::int64_t filter);
    void answered(WallTime when);

    const UnitConfiguration configuration;
    const std::vector<std::string> words;
    const Qdx::Pull::Glyphs glyphs;
    std::vector<ListedFilter> all;  // the latest list
    std::set<std::string> awake;    // by name, which a filter keeps when the collector restarts
    Picture known;
};

}  // namespace Qdxview
