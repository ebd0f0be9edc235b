#include "schedule.hpp"

#include <algorithm>

namespace Qdxview {

Schedule::Time Schedule::rested(std::optional<Time> answer) const {
    return answer ? *answer + period : Time::min();
}

std::optional<Schedule::Time> Schedule::lastPull(std::int64_t filter) const {
    const auto found = pulls.find(filter);
    return found == pulls.end() ? std::nullopt : std::optional(found->second);
}

Schedule::Step Schedule::next(Time now, const std::vector<std::int64_t>& filters,
                              std::optional<std::int64_t> selected) const {
    Step soonest{Ask::List, 0, false, rested(lastList)};
    const auto consider = [&](const Step& step) {
        if (soonest.at > now && step.at < soonest.at) {
            soonest = step;
        }
    };
    // In the order in which they go first.
    std::optional<Step> other;
    for (const auto filter : filters) {
        if (filter == selected) {
            consider({Ask::Pull, filter, false, rested(lastPull(filter))});
        } else if (!other || lastPull(filter) < lastPull(other->filter)) {
            other = Step{Ask::Pull, filter, true,
                         std::max(rested(lastPull(filter)), rested(lastOther))};
        }
    }
    if (other) {
        consider(*other);
    }
    if (soonest.at > now) {
        soonest.ask = Ask::Nothing;
    }
    return soonest;
}

void Schedule::answered(const Step& step, Time now) {
    if (step.ask == Ask::List) {
        lastList = now;
    } else if (step.ask == Ask::Pull) {
        pulls[step.filter] = now;
        if (step.isOther) {
            lastOther = now;
        }
    }
}

}  // namespace Qdxview
