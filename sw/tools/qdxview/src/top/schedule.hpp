// What is asked of the collector next, so that looking at it costs it little.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace Qdxview {

// One question at a time. The list of filters, and each filter, rest for a period after their
// answer; the selected filter comes as soon as it has rested, of the others one a period, by turns:
//
//     const auto step = schedule.next(now, filters, selected);
//     ... ask, or wait until step.at ...
//     schedule.answered(step, now);
class Schedule {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Period = std::chrono::milliseconds;

    enum class Ask { List, Pull, Nothing };

    struct Step {
        Ask ask = Ask::Nothing;
        std::int64_t filter = 0;  // to pull
        bool isOther = false;     // not the selected one
        Time at = Time::min();    // when there is something to ask, if there is nothing now
    };

    explicit Schedule(Period rest) : period(rest) {}

    void setPeriod(Period rest) { period = rest; }

    // filters: those that may be pulled.
    Step next(Time now, const std::vector<std::int64_t>& filters,
              std::optional<std::int64_t> selected) const;

    void answered(const Step& step, Time now);

private:
    Time rested(std::optional<Time> answer) const;
    std::optional<Time> lastPull(std::int64_t filter) const;

    Period period;
    std::optional<Time> lastList;
    std::optional<Time> lastOther;
    std::map<std::int64_t, Time> pulls = {};  // the latest of each filter
};

}  // namespace Qdxview
