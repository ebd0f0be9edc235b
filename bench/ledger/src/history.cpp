#include "history.hpp"

#include <algorithm>
#include <numeric>

#include "sampleCode.hpp"

namespace QdxLedger {
namespace {

std::string nameOf(const Plan& plan, const Clause& clause, const Series& series) {
    return textOf(clause).append(" of ").append(describe(plan, series));
}

// Of the place in a frontend's samples: the end of its batch.
std::uint64_t endOfBatch(const QdxLoad::FrontendLedger& frontend, std::uint64_t index) {
    const auto batch = std::upper_bound(
        frontend.ranges.begin(), frontend.ranges.end(), index,
        [](std::uint64_t place, const QdxLoad::Range& range) { return place < range.end; });
    return batch->end;
}

}  // namespace

History::History(const Run& wholeRun, const Life& ofLife, const Clause& ofClause,
                 const Series& ofSeries, const Offer& ofOffer)
    : run(wholeRun),
      life(ofLife),
      kind(ofClause),
      series(ofSeries),
      isRecord(run.ledger.plan.kindOf(series.object) == Kind::Record),
      deliveries(ofOffer.deliveries),
      values(ofOffer.values),
      name(nameOf(run.ledger.plan, kind, series)) {}

void History::report(std::size_t operation, const std::string& what) const {
    run.violations.push_back(what + " in " + name + " at " + describe(run.journal, operation));
}

// ---- What was pulled

void History::take(std::size_t operation, const PulledCollection* pulled) {
    Match match{.operation = operation, .command = run.journal[operation].command, .rows = {}};
    if (pulled != nullptr) {
        if (pulled->values.empty() || pulled->damagedRecords > 0) {
            report(operation, "damaged: " + std::to_string(pulled->damagedRecords) +
                                  " records with a wrong checksum, and " +
                                  std::to_string(pulled->values.size()) + " good values");
        }
        if (pulled->values.size() > kind.kept) {
            report(operation, "too many: " + std::to_string(pulled->values.size()) + " values");
        }
        match.rows = kind.method == Method::List ? matchList(operation, pulled->values)
                                                 : matchWindows(operation, pulled->values);
        for (const auto& row : match.rows) {
            match.results += row.results;
        }
    }
    if (isPull(match.command)) {
        checkAgainstLast(match);
        markSeen(match);
    }
    forget(match);
    matches.push_back(std::move(match));
}

std::vector<History::Row> History::matchList(std::size_t operation,
                                             const std::vector<std::int64_t>& pulled) {
    std::vector<Row> rows;
    auto next = earliest;
    for (const auto value : pulled) {
        if (rows.empty() || mayHaveGaps()) {
            const auto found = std::find(
                values.begin() + static_cast<std::ptrdiff_t>(std::min(next, values.size())),
                values.end(), value);
            next = found == values.end() ? next : static_cast<std::size_t>(found - values.begin());
        }
        if (next >= values.size() || values[next] != value) {
            report(operation, explain(value, next, rows));
            return {};
        }
        if (rows.empty() || endOf(rows.back()) != next) {
            rows.push_back({.first = next, .results = 0});
        }
        ++rows.back().results;
        ++next;
    }
    return rows;
}

std::string History::explain(std::int64_t value, std::size_t expected,
                             const std::vector<Row>& rows) const {
    const auto text = std::to_string(value);
    const auto found = std::find(values.begin(), values.end(), value);
    if (found == values.end()) {
        return QdxLoad::originOf(run.ledger, series, value);
    }
    const auto place = static_cast<std::size_t>(found - values.begin());
    const auto isIn = [&](const Row& row) { return place >= row.first && place < endOf(row); };
    if (std::any_of(rows.begin(), rows.end(), isIn)) {
        return "duplicate: " + text + " came twice";
    }
    if (place < earliest) {
        return "reappeared: " + text + ", which was taken or gave way before,";
    }
    return place < expected
               ? "reordered: " + text + " came behind a later one"
               : "lost: " + std::to_string(place - expected) + " values in front of " + text;
}

std::vector<History::Row> History::matchWindows(std::size_t operation,
                                                const std::vector<std::int64_t>& pulled) {
    const auto covered = pulled.size() * step();
    auto first = earliest;
    if (phase) {
        first += (*phase + step() - first % step()) % step();
    }
    for (; first + covered <= values.size(); first += phase ? step() : 1) {
        if (windowsAre(pulled, first)) {
            phase = first % step();
            return {{.first = first, .results = pulled.size()}};
        }
    }
    report(operation, "window: no " + std::to_string(covered) + " values in a row give those");
    return {};
}

bool History::windowsAre(const std::vector<std::int64_t>& pulled, std::size_t first) const {
    return std::all_of(pulled.begin(), pulled.end(), [&](std::int64_t value) {
        const auto* window = &values[first];
        first += step();
        return value == resultOf(kind.method, window, step());
    });
}

// What was kept stays until it is cleared or gives way to as much.
void History::checkAgainstLast(const Match& match) const {
    if (matches.empty() || matches.back().command != Command::PullKeep) {
        return;
    }
    const auto& last = matches.back();
    if (last.results > 0 && match.results == 0) {
        report(match.operation, "vanished: what was there before");
    } else if (match.results < last.results && !mayHaveGaps()) {
        report(match.operation, "shrunk: from " + std::to_string(last.results) + " values to " +
                                    std::to_string(match.results));
    }
}

// What can't be pulled any more.
void History::forget(const Match& match) {
    const auto& source =
        match.command == Command::ClearAll && !matches.empty() ? matches.back() : match;
    if (!source.rows.empty()) {
        earliest = match.command == Command::PullKeep ? source.rows.front().first
                                                      : endOf(source.rows.back());
    }
}

void History::markSeen(const Match& match) const {
    if (!isRecord) {
        return;
    }
    auto& seen = run.seenRecords[series.frontend];
    for (const auto& row : match.rows) {
        for (auto place = row.first; place < endOf(row); ++place) {
            auto& filter = seen[deliveries[place].index];
            filter = std::max(filter, life.filter);
        }
    }
}

std::uint64_t History::pulledForGood() const {
    std::uint64_t results = 0;
    for (const auto& match : matches) {
        const bool isLast = &match == &matches.back() && !life.end;
        results += match.command == Command::PullClear || isLast ? match.results : 0;
    }
    return results * step();
}

// ---- What it says about positions

void History::bound(Positions& positions) const {
    const auto frontend = series.frontend;
    auto cleared = life.begin;
    bool isFirst = true;  // no window can have gone unseen
    for (const auto& match : matches) {
        if (match.results > 0) {
            const auto first = match.rows.front().first;
            const auto end = endOf(match.rows.back());
            positions.after(match.operation, frontend, deliveries[end - 1].index, name);
            if (!mayHaveGaps() && end + step() <= deliveries.size()) {
                positions.before(match.operation, frontend, closeOf(end), name);
            }
            positions.before(cleared, frontend, closeOf(first), name);
            positions.before(life.begin, frontend, deliveries[first].index, name);
            if (!run.memoryMayRefuse && match.results < kind.kept && first > 0) {
                positions.after(cleared, frontend, deliveries[first - 1].index, name);
            }
        } else if (isPull(match.command) && !run.memoryMayRefuse) {
            boundEmpty(positions, cleared, match.operation, isFirst);
        }
        isFirst = isFirst && match.command != Command::ClearAll;
        cleared = match.command == Command::PullKeep ? cleared : match.operation;
    }
    if (phase && !run.memoryMayRefuse) {
        positions.aligned(life.begin, frontend, {&deliveries, *phase, step()});
    }
}

void History::boundEmpty(Positions& positions, std::size_t cleared, std::size_t pulled,
                         bool isFirst) const {
    const auto frontend = series.frontend;
    if (phase) {
        const Grid closes{&deliveries, (*phase + step() - 1) % step(), step()};
        positions.fewer(cleared, pulled, frontend, closes, 1);
    } else if (kind.method == Method::List) {
        positions.fewer(cleared, pulled, frontend, {&deliveries, 0, 1}, 1);
    } else if (isFirst) {
        positions.fewer(life.begin, pulled, frontend, {&deliveries, 0, 1}, step());
    }
}

// ---- What became of each delivery

// Of the first delivery from that index on.
std::size_t History::placeAt(std::uint64_t index) const {
    const auto place =
        std::partition_point(deliveries.begin(), deliveries.end(),
                             [&](const Delivery& delivery) { return delivery.index < index; });
    return static_cast<std::size_t>(place - deliveries.begin());
}

std::pair<std::size_t, std::size_t> History::offered(const Positions& positions) const {
    return {placeAt(positions.of(life.begin, series.frontend)),
            life.end ? placeAt(positions.of(*life.end, series.frontend)) : deliveries.size()};
}

// A list is never empty from its birth to the first clear.
std::size_t History::earliestBirth(const Positions& positions) const {
    auto earliestPlace = offered(positions).first;
    if (kind.method != Method::List) {
        return earliestPlace;
    }
    for (const auto& match : matches) {
        if (match.results > 0 || match.command == Command::ClearAll) {
            break;
        }
        earliestPlace =
            std::max(earliestPlace, placeAt(positions.of(match.operation, series.frontend)));
    }
    return earliestPlace;
}

std::optional<std::size_t> History::latestBirth() const {
    for (const auto& match : matches) {
        if (match.results > 0) {
            return match.rows.front().first;
        }
    }
    return std::nullopt;
}

bool History::agreesWithBirth(std::size_t birth) const {
    return !phase || birth % step() == *phase;
}

std::vector<End> History::classify(const Positions& positions, std::size_t birth) const {
    const auto [begin, end] = offered(positions);
    std::vector<End> ends(end - begin, End::Refused);
    auto event = matches.begin();
    auto first = std::min(birth, end);
    for (; first + step() <= end; first += step()) {
        const auto result = endOfResult(positions, birth, first, event);
        std::fill_n(ends.begin() + static_cast<std::ptrdiff_t>(first - begin), step(), result);
    }
    std::fill(ends.begin() + static_cast<std::ptrdiff_t>(first - begin), ends.end(),
              life.end ? End::Cleared : End::OpenWindow);
    return ends;
}

// The event is moved to the first one behind the result.
End History::endOfResult(const Positions& positions, std::size_t birth, std::size_t first,
                         std::vector<Match>::const_iterator& event) const {
    const auto close = closeOf(first);
    while (event != matches.end() && positions.of(event->operation, series.frontend) <= close) {
        ++event;
    }
    const Match* last = nullptr;
    bool isCleared = false;
    for (auto next = event; next != matches.end() && !isCleared; ++next) {
        last = isPull(next->command) ? &*next : last;
        isCleared = next->command != Command::PullKeep;
        if (next->command == Command::PullClear && holds(*next, first)) {
            return End::Taken;
        }
    }
    if (last != nullptr && !holds(*last, first)) {
        return endOfMissing(positions, *last, birth, first);
    }
    if (last == nullptr || isCleared || life.end) {
        return End::Cleared;
    }
    return kind.method == Method::List ? End::InList : End::InWindow;
}

bool History::holds(const Match& match, std::size_t first) const {
    return std::any_of(match.rows.begin(), match.rows.end(),
                       [&](const Row& row) { return first >= row.first && first < endOf(row); });
}

End History::endOfMissing(const Positions& positions, const Match& match, std::size_t birth,
                          std::size_t first) const {
    if (match.results == 0) {
        return run.memoryMayRefuse ? End::Refused : lost(match, first);
    }
    if (first < match.rows.front().first) {
        const bool mayGiveWay = run.memoryMayRefuse || match.results == kind.kept;
        return mayGiveWay ? End::GivenWay : lost(match, first);
    }
    return mayHaveGaps() ? endOfGap(positions, match, birth, first) : lost(match, first);
}

// Records alone: they are lost among others that are kept if their own copy found no memory on the
// way in, if one is larger than the oldest that it is to replace, or if a list that was emptied for
// such a one can't be filled again, which leaves its oldest.
End History::endOfGap(const Positions& positions, const Match& match, std::size_t birth,
                      std::size_t first) const {
    if (isCutOff(first)) {
        return End::CutOff;
    }
    const auto oldest = match.rows.front().first;
    for (auto older = std::min(birth, oldest); older <= oldest; ++older) {
        if (isLarger(first, older)) {
            return End::TooLarge;
        }
    }
    const auto behindGap = match.rows.size() > 1
                               ? match.rows[1].first
                               : placeAt(positions.of(match.operation, series.frontend));
    const bool isBehindOldest = match.rows.front().results == 1 && first < behindGap;
    for (auto place = first; isBehindOldest && place < behindGap; ++place) {
        if (isCutOff(place) && isLarger(place, oldest)) {
            return End::Unrestored;
        }
    }
    return lost(match, first);
}

// Whether nothing was seen of its batch that was handled later: the batch ends with it, for filters
// in the order of their numbers.
bool History::isCutOff(std::size_t place) const {
    const auto index = deliveries[place].index;
    const auto& seen = run.seenRecords[series.frontend];
    const auto later = seen.upper_bound(index);
    const auto itself = seen.find(index);
    return (later == seen.end() ||
            later->first >= endOfBatch(run.ledger.frontends[series.frontend], index)) &&
           (itself == seen.end() || itself->second <= life.filter);
}

bool History::isLarger(std::size_t place, std::size_t than) const {
    const auto& plan = run.ledger.plan;
    return plan.sizeOfRecord(values[place]) > plan.sizeOfRecord(values[than]);
}

End History::lost(const Match& match, std::size_t first) const {
    report(match.operation, "lost: " + std::to_string(values[first]));
    return End::Refused;
}

}  // namespace QdxLedger
