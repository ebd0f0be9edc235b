#include "checker.hpp"

#include <algorithm>
#include <optional>
#include <unordered_map>

#include "sampleCode.hpp"

namespace QdxLoad {

namespace {

// Of expected values beyond those pulled, so that a value from a little before is told from one
// that was never sent.
constexpr std::size_t margin = 4096;

// Of each value in the list.
std::unordered_map<std::int64_t, std::size_t> placesOf(const std::vector<std::int64_t>& values) {
    std::unordered_map<std::int64_t, std::size_t> places;
    for (std::size_t place = 0; place < values.size(); ++place) {
        places.emplace(values[place], place);
    }
    return places;
}

// Whether windows that end behind that place of the total are those pulled.
bool windowsMatch(const PulledCollection& pulled, const Expectation& expected, std::uint64_t end) {
    auto begin = end - pulled.values.size() * pulled.size - expected.skipped();
    return std::all_of(pulled.values.begin(), pulled.values.end(), [&](std::int64_t value) {
        const auto* window = &expected.newest[begin];
        begin += pulled.size;
        return value == resultOf(pulled.method, window, pulled.size);
    });
}

}  // namespace

void Checker::check(const Qdx::InfoObjectCollections& pull) {
    for (const auto& collection : collectionsOf(ledger.plan, pull)) {
        if (const auto* const fault = std::get_if<std::string>(&collection)) {
            report(*fault);
        } else {
            check(std::get<PulledCollection>(collection));
        }
    }
}

void Checker::check(const PulledCollection& pulled) {
    if (pulled.ofSeconds && pulled.method != Method::List) {
        ++unchecked;
        return;
    }
    for (std::uint64_t i = 0; i < pulled.damagedRecords; ++i) {
        report("damaged: a record with a wrong checksum in " + pulled.name);
    }
    ++collections;
    values += pulled.values.size();
    if (pulled.method == Method::List) {
        checkList(pulled);
    } else {
        checkWindows(pulled);
    }
}

void Checker::checkList(const PulledCollection& pulled) {
    listed.insert(ledger.plan.numberOf(pulled.series));
    const auto expected = expect(ledger, pulled.series, pulled.values.size() + margin);
    const auto places = placesOf(expected.newest);
    std::vector<bool> seen(expected.newest.size());
    std::size_t first = seen.size();
    std::size_t end = 0;
    for (const auto value : pulled.values) {
        const auto known = places.find(value);
        if (known == places.end()) {
            report(explain(pulled.series, value, seen.size()) + " in " + pulled.name);
            continue;
        }
        const auto place = known->second;
        if (seen[place]) {
            report("duplicate: " + std::to_string(value) + " came twice in " + pulled.name);
        } else if (place < end) {
            report("reordered: " + std::to_string(value) + " came behind a later one in " +
                   pulled.name);
        }
        seen[place] = true;
        first = std::min(first, place);
        end = std::max(end, place + 1);
    }
    const bool isWhole = began == Began::BeforeFirstSample && !pulled.ofSeconds &&
                         pulled.values.size() < pulled.size;
    const auto certain = expected.certain - std::min(expected.certain, expected.skipped());
    seen.resize(std::max<std::size_t>(end, certain));
    reportLost(pulled.name, expected, seen, isWhole ? 0 : first);
}

void Checker::reportLost(const std::string& name, const Expectation& expected,
                         const std::vector<bool>& seen, std::size_t from) {
    const auto begin = seen.begin() + static_cast<std::ptrdiff_t>(std::min(from, seen.size()));
    for (auto lost = std::find(begin, seen.end(), false); lost != seen.end();) {
        const auto next = std::find(lost, seen.end(), true);
        report(
            "lost: " + std::to_string(next - lost) + " of " + std::to_string(expected.total) +
            " values, from number " +
            std::to_string(expected.skipped() + static_cast<std::uint64_t>(lost - seen.begin())) +
            " on, in " + name);
        lost = std::find(next, seen.end(), false);
    }
}

void Checker::checkWindows(const PulledCollection& pulled) {
    const auto size = std::max<std::uint64_t>(pulled.size, 1);
    const auto covered = pulled.values.size() * size;
    const auto expected = expect(ledger, pulled.series, covered + size + margin);
    // The last window ended less than a window before the end, wherever the first began.
    const auto earliest = std::max(covered + expected.skipped(),
                                   expected.certain - std::min(expected.certain, size - 1));
    for (auto end = earliest; pulled.size > 0 && end <= expected.total; ++end) {
        const bool isAligned = began == Began::Sometime || end % size == 0;
        if (isAligned && windowsMatch(pulled, expected, end)) {
            return;
        }
    }
    report("window: no " + std::to_string(covered) + " of " + std::to_string(expected.total) +
           " values in a row give " + pulled.name);
}

// Why a value is not among those that the collector got.
std::string Checker::explain(const Series& series, std::int64_t value, std::size_t kept) const {
    const auto origin = originOf(ledger, series, value);
    return origin.empty() ? "reordered: " + std::to_string(value) + " (sequence " +
                                std::to_string(decode(value)->sequence) +
                                "), older than the newest " + std::to_string(kept) + ","
                          : origin;
}

void Checker::finish() {
    if (began != Began::BeforeFirstSample) {
        return;
    }
    std::set<Kind> listedKinds;
    for (const auto number : listed) {
        listedKinds.insert(ledger.plan.kindOf(ledger.plan.seriesAt(number).object));
    }
    for (std::uint64_t number = 0; number < ledger.plan.seriesCount(); ++number) {
        const auto series = ledger.plan.seriesAt(number);
        if (listed.contains(number) || !listedKinds.contains(ledger.plan.kindOf(series.object))) {
            continue;
        }
        if (const auto expected = expect(ledger, series, 1); expected.certain > 0) {
            report("lost: " + std::to_string(expected.certain) + " values, all of " +
                   describe(ledger.plan, series));
        }
    }
}

}  // namespace QdxLoad
