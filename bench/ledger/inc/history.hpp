// One history of a filter, a clause's for one series, followed from the filter's beginning to its
// end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "balance.hpp"
#include "filterSpec.hpp"
#include "journal.hpp"
#include "positions.hpp"

namespace QdxLedger {

// A filter from its creation, or its being enabled, to its deletion, its being disabled, or the end
// of the run: what it holds at the one end is nothing, and is gone at the other.
struct Life {
    FilterNumber filter = 0;
    FilterSpec spec = {};
    std::size_t begin = 0;                 // operation
    std::optional<std::size_t> end = {};   // operation; none: the end of the run
    std::vector<std::size_t> events = {};  // operations between, that pull or clear
};

// What the collector got of one series, in order.
struct Offer {
    std::vector<Delivery> deliveries;
    std::vector<std::int64_t> values;  // of the deliveries
};

// What all histories of a run share.
struct Run {
    const Ledger& ledger;
    const Journal& journal;
    bool memoryMayRefuse;
    std::vector<std::string>& violations;
    // Records that were pulled, by frontend and index, with the highest filter they were in.
    std::vector<std::map<std::uint64_t, FilterNumber>>& seenRecords;
};

// What the rules say of a history:
//
// Offered are the deliveries of the series between the life's begin and end, in order. From the
// first on for which there is memory, the history's birth, they are all taken: one by one by a
// list, and by windows of so many without a gap. Results gather, the oldest giving way when there
// are as many as shall be kept, or when memory for one more is refused. So what is pulled is always
// the newest results since the last clear, without gaps; and a window that is open at a clear
// carries on.
//
// Where memory is refused while nothing is kept, the result is lost. Records also are lost in three
// more ways, since their sizes differ: see End.
//
// Used as take* bound classify, each for all histories of a run before the next. The run, the life
// and the offer must outlive it.
class History {
public:
    History(const Run& wholeRun, const Life& ofLife, const Clause& ofClause, const Series& ofSeries,
            const Offer& ofOffer);

    const Clause& clause() const { return kind; }

    // Takes what an operation of the life pulled of this history, null if nothing. Call for all
    // that pull or clear, in order.
    void take(std::size_t operation, const PulledCollection* pulled);
    // Tells what was pulled says about positions.
    void bound(Positions& positions) const;

    // The first offered delivery that it may have taken, and the first that it must have taken if
    // anything was pulled of it. REQUIRES: positions are solved.
    std::size_t earliestBirth(const Positions& positions) const;
    std::optional<std::size_t> latestBirth() const;
    // Whether windows that begin with that delivery are those that were pulled.
    bool agreesWithBirth(std::size_t birth) const;

    // What became of each delivery from offered() on. REQUIRES: positions are solved;
    // agreesWithBirth(birth).
    std::vector<End> classify(const Positions& positions, std::size_t birth) const;
    // The deliveries that were offered to the filter: the first, and the end.
    std::pair<std::size_t, std::size_t> offered(const Positions& positions) const;
    // Deliveries in what clearing pulls took, and in what the last pull of the run found.
    std::uint64_t pulledForGood() const;

private:
    // Results in a row, the first being of the deliveries from `first` on.
    struct Row {
        std::size_t first;
        std::size_t results;
    };
    struct Match {
        std::size_t operation;
        Command command;
        std::vector<Row> rows;  // more than one for records with gaps alone
        std::size_t results = 0;
    };
    std::size_t step() const { return kind.samples; }
    std::size_t endOf(const Row& row) const { return row.first + row.results * step(); }
    bool holds(const Match& match, std::size_t first) const;
    bool mayHaveGaps() const { return run.memoryMayRefuse && isRecord; }
    // Of its last delivery.
    std::uint64_t closeOf(std::size_t first) const { return deliveries[first + step() - 1].index; }

    std::vector<Row> matchList(std::size_t operation, const std::vector<std::int64_t>& pulled);
    std::vector<Row> matchWindows(std::size_t operation, const std::vector<std::int64_t>& pulled);
    bool windowsAre(const std::vector<std::int64_t>& pulled, std::size_t first) const;
    std::string explain(std::int64_t value, std::size_t expected,
                        const std::vector<Row>& rows) const;
    void checkAgainstLast(const Match& match) const;
    void forget(const Match& match);
    void markSeen(const Match& match) const;
    void boundEmpty(Positions& positions, std::size_t cleared, std::size_t pulled,
                    bool isFirst) const;
    std::size_t placeAt(std::uint64_t index) const;

    End endOfResult(const Positions& positions, std::size_t birth, std::size_t first,
                    std::vector<Match>::const_iterator& event) const;
    End endOfMissing(const Positions& positions, const Match& match, std::size_t birth,
                     std::size_t first) const;
    End endOfGap(const Positions& positions, const Match& match, std::size_t birth,
                 std::size_t first) const;
    bool isCutOff(std::size_t place) const;
    bool isLarger(std::size_t place, std::size_t than) const;
    End lost(const Match& match, std::size_t first) const;
    void report(std::size_t operation, const std::string& what) const;

    const Run& run;
    const Life& life;
    const Clause kind;
    const Series series;
    const bool isRecord;
    const std::vector<Delivery>& deliveries;
    const std::vector<std::int64_t>& values;
    const std::string name;
    std::vector<Match> matches;             // of the life's events
    std::size_t earliest = 0;               // no result of a delivery before can be pulled any more
    std::optional<std::size_t> phase = {};  // of windows: where one began, modulo their size
};

}  // namespace QdxLedger
