#include "audit.hpp"

#include <algorithm>
#include <list>
#include <map>
#include <memory>

#include "expectation.hpp"
#include "history.hpp"
#include "positions.hpp"

namespace QdxLedger {
namespace {

using QdxLoad::Fate;

// What the clauses of a filter keep of one series.
struct Pair {
    const Life* life;
    std::uint64_t series;
    std::vector<std::unique_ptr<History>> histories;
};

// Filters in the order of their beginnings. They don't move.
std::list<Life> livesOf(const Journal& journal) {
    std::list<Life> lives;
    std::map<FilterNumber, FilterSpec> specs;
    std::map<FilterNumber, Life*> alive;
    for (std::size_t number = 0; number < journal.size(); ++number) {
        const auto& operation = journal[number];
        const auto filter = operation.filter;
        switch (operation.command) {
            case Command::Create:
                specs[filter] = operation.spec;
                [[fallthrough]];
            case Command::Enable:
                if (!alive.contains(filter)) {
                    lives.push_back({.filter = filter, .spec = specs[filter], .begin = number});
                    alive[filter] = &lives.back();
                }
                break;
            case Command::Delete:
            case Command::Disable:
                if (alive.contains(filter)) {
                    alive[filter]->end = number;
                    alive.erase(filter);
                }
                break;
            case Command::ClearAll:
                for (const auto& [each, life] : alive) {
                    life->events.push_back(number);
                }
                break;
            case Command::PullKeep:
            case Command::PullClear:
                if (alive.contains(filter)) {
                    alive[filter]->events.push_back(number);
                }
                break;
        }
    }
    return lives;
}

class Auditor {
public:
    Auditor(const Ledger& runLedger, const Journal& runJournal, Memory memory)
        : ledger(runLedger),
          journal(runJournal),
          lives(livesOf(journal)),
          positions(ledger, journal),
          seenRecords(ledger.plan.frontends),
          run{ledger, journal, memory == Memory::MayRefuse, result.violations, seenRecords} {}

    Audit finish() {
        prepare();
        for (const auto& life : lives) {
            follow(life);
        }
        if (result.violations.empty()) {
            solve();
        }
        if (result.violations.empty()) {
            balance();
        }
        return std::move(result);
    }

private:
    void prepare();
    Counts startingCounts(std::uint64_t number);

    void follow(const Life& life);
    std::vector<Pair*> makePairs(const Life& life);
    void takePull(std::size_t operation, const std::vector<Pair*>& ofLife);

    void solve();
    std::size_t birthOf(const Pair& pair);

    void balance();
    void balance(const Pair& pair);
    void markEnds(const QdxLoad::Series& series, std::size_t first, const std::vector<End>& ends);
    void addUncaptured(const Life& life);
    void addEverySample();
    void report(const std::string& what) { result.violations.push_back(what); }

    const Ledger& ledger;
    const Journal& journal;
    Audit result = {};
    const std::list<Life> lives;
    Positions positions;
    std::vector<std::map<std::uint64_t, FilterNumber>> seenRecords;
    const Run run;
    std::vector<Offer> offers;     // by the number of the series
    std::vector<Counts> starting;  // the same: what never came to the last collector
    std::list<Pair> pairs;
    std::vector<std::vector<End>> best;  // by frontend and index
};

// ---- What was sent

void Auditor::prepare() {
    for (const auto& frontend : ledger.frontends) {
        best.emplace_back(frontend.added, End::NotConnected);
    }
    for (std::uint64_t number = 0; number < ledger.plan.seriesCount(); ++number) {
        Offer offer;
        offer.deliveries = deliveriesOf(ledger, ledger.plan.seriesAt(number));
        for (const auto& delivery : offer.deliveries) {
            offer.values.push_back(delivery.value);
        }
        offers.push_back(std::move(offer));
        starting.push_back(startingCounts(number));
    }
}

// Of samples that were not delivered. Whether those left waiting were nobody knows; there must be
// none.
Counts Auditor::startingCounts(std::uint64_t number) {
    const auto series = ledger.plan.seriesAt(number);
    const auto& frontend = ledger.frontends[series.frontend];
    Counts counts{};
    auto range = frontend.ranges.begin();
    for (auto index = turnOf(ledger.plan, series); index < frontend.added;
         index += ledger.plan.seriesPerFrontend()) {
        while (range->end <= index) {
            ++range;
        }
        if (range->fate == Fate::Waiting) {
            report("balance: sample " + std::to_string(index) + " of frontend " +
                   std::to_string(series.frontend) + " was left waiting");
            break;
        }
        auto end = End::NotCaptured;
        if (range->fate == Fate::Dropped) {
            end = static_cast<End>(range->cause);
        } else if (range->number != frontend.lastConnection) {
            end = End::LostWithCollector;
        }
        best[series.frontend][index] = end;
        at(counts, end) += end == End::NotCaptured ? 0 : 1;
    }
    return counts;
}

// ---- What was pulled

void Auditor::follow(const Life& life) {
    const auto ofLife = makePairs(life);
    for (const auto event : life.events) {
        takePull(event, ofLife);
    }
    for (const auto* pair : ofLife) {
        for (const auto& history : pair->histories) {
            history->bound(positions);
        }
    }
}

std::vector<Pair*> Auditor::makePairs(const Life& life) {
    std::vector<Pair*> made;
    for (std::uint64_t number = 0; number < ledger.plan.seriesCount(); ++number) {
        const auto series = ledger.plan.seriesAt(number);
        Pair pair{.life = &life, .series = number, .histories = {}};
        for (const auto& statement : life.spec.statements) {
            for (const auto& clause : statement.clauses) {
                if (captures(statement, ledger.plan, series) &&
                    takes(clause, ledger.plan.kindOf(series.object))) {
                    pair.histories.push_back(
                        std::make_unique<History>(run, life, clause, series, offers[number]));
                }
            }
        }
        if (!pair.histories.empty()) {
            pairs.push_back(std::move(pair));
            made.push_back(&pairs.back());
        }
    }
    return made;
}

void Auditor::takePull(std::size_t number, const std::vector<Pair*>& ofLife) {
    const auto& operation = journal[number];
    std::map<std::uint64_t, std::vector<const PulledCollection*>> bySeries;
    for (const auto& collection : operation.pulled) {
        bySeries[ledger.plan.numberOf(collection.series)].push_back(&collection);
        result.values += collection.values.size();
    }
    for (const auto& fault : operation.faults) {
        report(fault + " at " + describe(journal, number));
    }
    result.pulls += isPull(operation.command) ? 1 : 0;
    for (const auto* pair : ofLife) {
        auto& collections = bySeries[pair->series];
        for (const auto& history : pair->histories) {
            const auto found = std::find_if(
                collections.begin(), collections.end(),
                [&](const auto* collection) { return isOf(*collection, history->clause()); });
            history->take(number, found == collections.end() ? nullptr : *found);
            if (found != collections.end()) {
                collections.erase(found);
            }
        }
    }
    for (const auto& [series, collections] : bySeries) {
        for (const auto* collection : collections) {
            report("foreign: a collection that the filter doesn't keep, " + collection->name +
                   ", at " + describe(journal, number));
        }
    }
}

// ---- Where it was

void Auditor::solve() {
    for (auto& fault : positions.solve()) {
        report(fault);
    }
}

std::size_t Auditor::birthOf(const Pair& pair) {
    std::size_t earliest = 0;
    std::optional<std::size_t> latest;
    for (const auto& history : pair.histories) {
        earliest = std::max(earliest, history->earliestBirth(positions));
        if (const auto place = history->latestBirth()) {
            latest = std::min(latest.value_or(*place), *place);
        }
    }
    if (!latest) {
        return earliest;
    }
    const auto end = run.memoryMayRefuse ? *latest : std::min(earliest, *latest);
    for (auto birth = earliest; birth <= end; ++birth) {
        if (std::all_of(pair.histories.begin(), pair.histories.end(),
                        [&](const auto& history) { return history->agreesWithBirth(birth); })) {
            return birth;
        }
    }
    report("apart: no sample from number " + std::to_string(earliest) + " to " +
           std::to_string(end) + " can have begun all histories of " +
           describe(ledger.plan, ledger.plan.seriesAt(pair.series)) + " in filter " +
           std::to_string(pair.life->filter));
    return earliest;
}

// ---- What it adds up to

void Auditor::balance() {
    for (const auto& pair : pairs) {
        balance(pair);
    }
    for (const auto& life : lives) {
        addUncaptured(life);
    }
    addEverySample();
}

void Auditor::balance(const Pair& pair) {
    const auto series = ledger.plan.seriesAt(pair.series);
    const auto& deliveries = offers[pair.series].deliveries;
    const auto birth = birthOf(pair);
    for (const auto& delivery : deliveries) {
        auto& end = best[series.frontend][delivery.index];
        end = std::max(end, End::NotOffered);
    }
    for (const auto& history : pair.histories) {
        const auto [first, offeredEnd] = history->offered(positions);
        const auto ends = history->classify(positions, birth);
        auto counts = starting[pair.series];
        at(counts, End::NotOffered) += deliveries.size() - (offeredEnd - first);
        for (const auto end : ends) {
            ++at(counts, end);
        }
        markEnds(series, first, ends);
        const auto text = textOf(history->clause()) + " of " + describe(ledger.plan, series) +
                          " in filter " + std::to_string(pair.life->filter);
        if (const auto samples = samplesOf(ledger, series); sumOf(counts) != samples) {
            report("balance: " + std::to_string(sumOf(counts)) + " ends of " +
                   std::to_string(samples) + " samples, " + text);
        }
        const auto good =
            at(counts, End::Taken) + at(counts, End::InList) + at(counts, End::InWindow);
        if (good != history->pulledForGood()) {
            report("balance: " + std::to_string(history->pulledForGood()) +
                   " samples were pulled for good, " + std::to_string(good) + " ended so, " + text);
        }
        result.sheet.add(textOf(history->clause()), counts);
    }
}

void Auditor::markEnds(const QdxLoad::Series& series, std::size_t first,
                       const std::vector<End>& ends) {
    const auto& deliveries = offers[ledger.plan.numberOf(series)].deliveries;
    for (std::size_t i = 0; i < ends.size(); ++i) {
        auto& end = best[series.frontend][deliveries[first + i].index];
        end = std::max(end, ends[i]);
    }
}

// The series that a clause leaves out.
void Auditor::addUncaptured(const Life& life) {
    for (const auto& statement : life.spec.statements) {
        for (const auto& clause : statement.clauses) {
            for (std::uint64_t number = 0; number < ledger.plan.seriesCount(); ++number) {
                const auto series = ledger.plan.seriesAt(number);
                if (captures(statement, ledger.plan, series) &&
                    takes(clause, ledger.plan.kindOf(series.object))) {
                    continue;
                }
                auto counts = starting[number];
                at(counts, End::NotCaptured) += offers[number].deliveries.size();
                result.sheet.add(textOf(clause), counts);
            }
        }
    }
}

void Auditor::addEverySample() {
    Counts counts{};
    std::uint64_t added = 0;
    for (std::size_t frontend = 0; frontend < best.size(); ++frontend) {
        added += ledger.frontends[frontend].added;
        for (const auto end : best[frontend]) {
            ++at(counts, end);
        }
    }
    if (sumOf(counts) != added) {
        report("balance: " + std::to_string(sumOf(counts)) + " ends of all " +
               std::to_string(added) + " samples");
    }
    result.sheet.add(everySample, counts);
}

}  // namespace

Audit audit(const Ledger& ledger, const Journal& journal, Memory memory) {
    return Auditor(ledger, journal, memory).finish();
}

}  // namespace QdxLedger
