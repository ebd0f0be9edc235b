#include "expectation.hpp"

#include <algorithm>
#include <functional>
#include <utility>

#include "sampleCode.hpp"

namespace QdxLoad {
namespace {

// Walks the samples of one series through the ranges of its frontend, and shows what the last
// collector got or may have got.
class Walk {
public:
    using Visit = std::function<void(const Delivery& delivery, bool isCertain)>;

    Walk(const Ledger& ledger, const Series& series, Visit visitor)
        : plan(ledger.plan),
          frontend(ledger.frontends[series.frontend]),
          number(plan.numberOf(series)),
          turn(turnOf(plan, series)),
          isCounter(plan.kindOf(series.object) == Kind::Counter),
          show(std::move(visitor)),
          droppedIn(isCounter ? frontend.ranges.size() : 0) {}

    void run() {
        const auto round = plan.seriesPerFrontend();
        std::uint64_t sequence = 0;
        for (auto index = turn; index < frontend.added; index += round, ++sequence) {
            while (frontend.ranges[current].end <= index) {
                ++current;
            }
            follow(index, sequence);
        }
    }

private:
    void follow(std::uint64_t index, std::uint64_t sequence) {
        auto value = static_cast<std::uint64_t>(encode({number, sequence}));
        if (isCounter) {
            value += takeCarried(index);
        }
        const auto& range = frontend.ranges[current];
        switch (range.fate) {
            case Fate::Dropped:
                if (isCounter) {
                    droppedIn[current] += value;
                }
                break;
            case Fate::Sent:
                if (range.number == frontend.lastConnection) {
                    show({index, static_cast<std::int64_t>(value)}, true);
                }
                break;
            case Fate::Waiting:
                show({index, static_cast<std::int64_t>(value)}, false);
                break;
        }
    }

    // Of all that was dropped by the time of that sample.
    std::uint64_t takeCarried(std::uint64_t index) {
        std::uint64_t sum = 0;
        for (; carriedUpTo < current; ++carriedUpTo) {
            const auto& range = frontend.ranges[carriedUpTo];
            if (range.fate == Fate::Dropped) {
                if (range.number > index) {
                    break;
                }
                sum += droppedIn[carriedUpTo];
            }
        }
        return sum;
    }

    const Plan& plan;
    const FrontendLedger& frontend;
    const std::uint64_t number;
    const std::uint64_t turn;
    const bool isCounter;
    const Visit show;
    std::vector<std::uint64_t> droppedIn;  // the sum of the series in each range
    std::size_t current = 0;               // the range that the walk has come to
    std::size_t carriedUpTo = 0;           // the drops in ranges before are carried
};

}  // namespace

std::uint64_t turnOf(const Plan& plan, const Series& series) {
    const auto order = plan.order(series.frontend);
    const auto found = std::find(order.begin(), order.end(), plan.numberOf(series));
    return static_cast<std::uint64_t>(found - order.begin());
}

Expectation expect(const Ledger& ledger, const Series& series, std::size_t keepAtLeast) {
    const auto keep = std::max<std::size_t>(keepAtLeast, 1);
    Expectation result;
    const auto keepValue = [&](const Delivery& delivery, bool isCertain) {
        auto& newest = result.newest;
        if (newest.size() >= 2 * keep) {
            newest.erase(newest.begin(), newest.end() - static_cast<std::ptrdiff_t>(keep));
        }
        newest.push_back(delivery.value);
        ++result.total;
        result.certain = isCertain ? result.total : result.certain;
    };
    Walk(ledger, series, keepValue).run();
    return result;
}

std::vector<Delivery> deliveriesOf(const Ledger& ledger, const Series& series) {
    std::vector<Delivery> deliveries;
    Walk(ledger, series, [&](const Delivery& delivery, bool) {
        deliveries.push_back(delivery);
    }).run();
    return deliveries;
}

std::uint64_t samplesOf(const Ledger& ledger, const Series& series) {
    const auto added = ledger.frontends[series.frontend].added;
    const auto turn = turnOf(ledger.plan, series);
    const auto round = ledger.plan.seriesPerFrontend();
    return added > turn ? (added - turn - 1) / round + 1 : 0;
}

std::string fateOf(const Ledger& ledger, const Series& series, std::uint64_t sequence) {
    const auto& frontend = ledger.frontends[series.frontend];
    const auto index = sequence * ledger.plan.seriesPerFrontend() + turnOf(ledger.plan, series);
    const auto range = std::upper_bound(
        frontend.ranges.begin(), frontend.ranges.end(), index,
        [](std::uint64_t place, const Range& candidate) { return place < candidate.end; });
    switch (range->fate) {
        case Fate::Dropped:
            return std::string("was dropped (").append(nameOf(range->cause)) + ")";
        case Fate::Sent:
            return range->number == frontend.lastConnection ? sentToThisCollector
                                                            : "went to an earlier collector";
        case Fate::Waiting:
            break;
    }
    return "was waiting at the end";
}

std::string originOf(const Ledger& ledger, const Series& series, std::int64_t value) {
    const auto code = decode(value);
    const auto text = std::to_string(value);
    if (!code || code->series >= ledger.plan.seriesCount()) {
        return "invented: " + text;
    }
    const auto sequence = " (sequence " + std::to_string(code->sequence) + ")";
    if (const auto owner = ledger.plan.seriesAt(code->series); owner != series) {
        return "foreign: " + text + " is of " + describe(ledger.plan, owner);
    }
    if (const auto samples = samplesOf(ledger, series); code->sequence >= samples) {
        return "invented: " + text + sequence + " of " + std::to_string(samples) + " samples";
    }
    const auto fate = fateOf(ledger, series, code->sequence);
    if (fate != sentToThisCollector) {
        return "undelivered: " + text + sequence + ", which " + fate + ",";
    }
    return ledger.plan.kindOf(series.object) == Kind::Counter
               ? "invented: " + text + sequence + " without what it carried"
               : "";
}

}  // namespace QdxLoad
