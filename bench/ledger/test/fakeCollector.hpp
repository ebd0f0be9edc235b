// A run that tests make up: what a collector with memory for all would have made of it.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

#include "audit.hpp"
#include "expectation.hpp"
#include "filterSpec.hpp"
#include "journal.hpp"
#include "ledger.hpp"

namespace QdxLedger::Test {

using QdxLoad::Fate;
using QdxLoad::Ledger;

// One frontend with a measurement (object 0), a counter (1) and a record (2) of several sizes, in
// two contexts: six series, of which each batch of 24 samples has four samples. What is done to the
// filters is done between batches:
//
//     FakeCollector run;
//     run.create(1, spec).send(5).pull(1).send(3).pullClear(1);
//     audit(run.ledger(), run.journal, ...)
class FakeCollector {
public:
    static constexpr std::uint64_t batch = 24;

    explicit FakeCollector(bool isExact = true) : exact(isExact) {
        run.plan = {.frontends = 1, .objects = 3, .contexts = 2, .recordSpread = 100};
        run.frontends = {{.lastConnection = 1}};
    }

    FakeCollector& create(FilterNumber number, const FilterSpec& spec) {
        specs[number] = spec;
        filters[number] = {};
        note(Command::Create, number).spec = spec;
        return *this;
    }
    FakeCollector& remove(FilterNumber number) {
        filters.erase(number);
        return noteOnly(Command::Delete, number);
    }
    FakeCollector& disable(FilterNumber number) {
        filters.erase(number);
        return noteOnly(Command::Disable, number);
    }
    FakeCollector& enable(FilterNumber number) {
        filters[number] = {};
        return noteOnly(Command::Enable, number);
    }
    FakeCollector& clearAll() {
        for (auto& [number, filter] : filters) {
            clear(filter);
        }
        return noteOnly(Command::ClearAll, 0);
    }

    FakeCollector& send(std::uint64_t batches) {
        for (; batches > 0; --batches) {
            add(Fate::Sent, run.frontends[0].lastConnection);
            for (auto& [number, filter] : filters) {
                feed(specs[number], filter);
            }
        }
        return *this;
    }
    FakeCollector& drop() {
        const auto next = run.frontends[0].added + batch;
        add(Fate::Dropped, next);
        return *this;
    }

    FakeCollector& pull(FilterNumber number) {
        auto& operation = note(Command::PullKeep, number);
        for (const auto& [key, history] : filters[number]) {
            if (!history.results.empty()) {
                operation.pulled.push_back(collectionOf(number, key, history));
            }
        }
        return *this;
    }
    FakeCollector& pullClear(FilterNumber number) {
        pull(number);
        journal.back().command = Command::PullClear;
        clear(filters[number]);
        return *this;
    }

    const Ledger& ledger() const { return run; }
    Ledger& ledger() { return run; }
    // Of the last operation; REQUIRES: it is there.
    PulledCollection& collection(const Series& series, Method method) {
        return collection(journal.size() - 1, series, method);
    }
    PulledCollection& collection(std::size_t operation, const Series& series, Method method) {
        for (auto& each : journal.at(operation).pulled) {
            if (each.series == series && each.method == method) {
                return each;
            }
        }
        throw std::logic_error("no such collection");
    }

    Journal journal;

private:
    using Key = std::pair<std::uint64_t, std::pair<std::size_t, std::size_t>>;
    struct History {
        std::deque<std::int64_t> results;
        std::vector<std::int64_t> open;
    };
    using Filter = std::map<Key, History>;

    const Clause& clauseOf(FilterNumber number, const Key& key) const {
        return specs.at(number).statements[key.second.first].clauses[key.second.second];
    }

    PulledCollection collectionOf(FilterNumber number, const Key& key, const History& history) {
        const auto& clause = clauseOf(number, key);
        return {.series = run.plan.seriesAt(key.first),
                .method = clause.method,
                .size = clause.method == Method::List ? clause.kept : clause.samples,
                .name = textOf(clause),
                .values = {history.results.begin(), history.results.end()}};
    }

    void clear(Filter& filter) {
        for (auto& [key, history] : filter) {
            history.results.clear();
        }
    }

    void add(Fate fate, std::uint64_t number) {
        auto& frontend = run.frontends[0];
        frontend.ranges.push_back({.first = frontend.added,
                                   .end = frontend.added + batch,
                                   .fate = fate,
                                   .number = number,
                                   .cause = QdxLoad::Cause::SlowCollector});
        frontend.added += batch;
    }

    // The batch that was sent last.
    void feed(const FilterSpec& spec, Filter& filter) {
        for (std::uint64_t number = 0; number < run.plan.seriesCount(); ++number) {
            const auto series = run.plan.seriesAt(number);
            for (const auto& delivery : deliveriesOf(run, series)) {
                if (delivery.index >= run.frontends[0].ranges.back().first) {
                    feed(spec, filter, series, delivery.value);
                }
            }
        }
    }

    void feed(const FilterSpec& spec, Filter& filter, const Series& series, std::int64_t value) {
        for (std::size_t i = 0; i < spec.statements.size(); ++i) {
            const auto& statement = spec.statements[i];
            for (std::size_t j = 0; j < statement.clauses.size(); ++j) {
                const auto& clause = statement.clauses[j];
                if (captures(statement, run.plan, series) &&
                    takes(clause, run.plan.kindOf(series.object))) {
                    feed(clause, filter[{run.plan.numberOf(series), {i, j}}], value);
                }
            }
        }
    }

    static void feed(const Clause& clause, History& history, std::int64_t value) {
        history.open.push_back(value);
        if (history.open.size() < clause.samples) {
            return;
        }
        if (history.results.size() == clause.kept) {
            history.results.pop_front();
        }
        history.results.push_back(resultOf(clause.method, history.open.data(), clause.samples));
        history.open.clear();
    }

    Operation& note(Command command, FilterNumber number) {
        journal.push_back({.command = command,
                           .filter = number,
                           .added = {run.frontends[0].added},
                           .isExact = exact});
        return journal.back();
    }
    FakeCollector& noteOnly(Command command, FilterNumber number) {
        note(command, number);
        return *this;
    }

    const bool exact;
    Ledger run;
    std::map<FilterNumber, FilterSpec> specs;
    std::map<FilterNumber, Filter> filters;
};

inline constexpr Series measurement{.frontend = 0, .object = 0, .context = 1};
inline constexpr Series counter{.frontend = 0, .object = 1, .context = 1};
inline constexpr Series record{.frontend = 0, .object = 2, .context = 1};

// A list of everything, and windows of all methods.
inline FilterSpec everything(std::uint32_t kept) {
    return {.statements = {{.clauses = {{.kept = kept}}},
                           {.clauses = {{.method = Method::Min, .samples = 3, .kept = kept},
                                        {.method = Method::Max, .samples = 5, .kept = kept},
                                        {.method = Method::Average, .samples = 7, .kept = kept},
                                        {.method = Method::Sum, .samples = 3, .kept = kept}}}}};
}

inline constexpr std::uint32_t plenty = 1000;

inline std::vector<std::string> violationsOf(const FakeCollector& run,
                                             Memory memory = Memory::Suffices) {
    return audit(run.ledger(), run.journal, memory).violations;
}

inline std::uint64_t countOf(const Audit& audited, const std::string& row, End end) {
    return audited.sheet.of(row)[static_cast<std::size_t>(end)];
}

// Samples of the whole run; a series has a sixth.
inline std::uint64_t samplesIn(std::uint64_t batches) {
    return batches * FakeCollector::batch;
}

}  // namespace QdxLedger::Test
