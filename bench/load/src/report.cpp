#include "report.hpp"

#include <array>
#include <iomanip>
#include <string>

#include "batchFates.hpp"

namespace QdxLoad {
namespace {

struct Totals {
    std::uint64_t added = 0;
    std::uint64_t sent = 0;
    std::uint64_t lostWithCollector = 0;
    std::uint64_t waiting = 0;
    std::uint64_t batches = 0;
    std::array<Qdx::Frontend::Drops, causeCount> drops{};
};

void addRanges(Totals& totals, const FrontendLedger& frontend) {
    for (const auto& range : frontend.ranges) {
        const auto samples = range.end - range.first;
        if (range.fate == Fate::Waiting) {
            totals.waiting += samples;
        } else if (range.fate == Fate::Sent) {
            totals.sent += samples;
            totals.lostWithCollector += range.number == frontend.lastConnection ? 0 : samples;
        }
    }
}

Totals totalsOf(const Outcome& outcome) {
    Totals totals;
    for (const auto& frontend : outcome.ledger.frontends) {
        totals.added += frontend.added;
        addRanges(totals, frontend);
    }
    for (const auto& counts : outcome.statistics) {
        totals.batches += counts.sentBatches;
        const auto drops = dropsByCause(counts);
        for (std::size_t cause = 0; cause < causeCount; ++cause) {
            totals.drops[cause].batches += drops[cause].batches;
            totals.drops[cause].samples += drops[cause].samples;
        }
    }
    return totals;
}

class Table {
public:
    explicit Table(std::ostream& stream) : out(stream) { out << std::fixed; }

    std::ostream& row(const std::string& label, std::uint64_t value) {
        return out << '\n'
                   << std::left << std::setw(22) << label << std::right << std::setw(14) << value;
    }

private:
    std::ostream& out;
};

void printShape(std::ostream& out, const Plan& plan, const Load& load) {
    out << plan.frontends << " frontends x " << plan.objects << " objects x " << plan.contexts
        << " contexts (";
    for (std::size_t i = 0; i < plan.kinds.size(); ++i) {
        out << (i == 0 ? "" : ", ") << nameOf(plan.kinds[i]);
    }
    out << "), " << std::setprecision(1) << load.duration.count() << " s ";
    if (load.samplesPerSecond) {
        out << "at " << *load.samplesPerSecond << " samples/s";
    } else {
        out << "flat out";
    }
    out << (load.waits ? ", waiting for the collector" : "") << ", seed " << plan.seed;
}

void printCollector(std::ostream& out, const CollectorUse& use, std::uint64_t samples) {
    if (!use.process || !use.after) {
        out << "\ncollector             not found";
        return;
    }
    out << "\ncollector             process " << *use.process;
    if (use.before && use.process == use.processBefore) {
        const auto seconds = use.after->cpuSeconds - use.before->cpuSeconds;
        out << ": " << std::setprecision(2) << seconds << " s of CPU";
        if (samples > 0) {
            out << ", " << std::setprecision(0) << seconds * 1e9 / static_cast<double>(samples)
                << " ns a sample";
        }
    } else {
        out << ": started during the run";
    }
    out << "; peak memory " << use.after->peakKibibytes << " KiB";
}

}  // namespace

void printReport(std::ostream& out, const Outcome& outcome, const Load& load,
                 const CollectorUse& use) {
    const auto totals = totalsOf(outcome);
    const auto rate = [&](std::uint64_t count) {
        return static_cast<double>(count) / outcome.seconds;
    };
    Table table(out);
    printShape(out, outcome.ledger.plan, load);
    out << (outcome.allHandled ? "; all was handled after " : "; ended after ") << outcome.seconds
        << " s" << std::setprecision(0);
    table.row("samples added", totals.added);
    table.row("samples sent", totals.sent) << std::setw(14) << rate(totals.sent) << "/s";
    table.row("batches sent", totals.batches) << std::setw(14) << rate(totals.batches) << "/s";
    for (std::size_t cause = 0; cause < causeCount; ++cause) {
        const auto& drops = totals.drops[cause];
        table.row(std::string("  ").append(nameOf(static_cast<Cause>(cause))), drops.samples)
            << " dropped, in " << drops.batches << " batches";
    }
    table.row("lost with a collector", totals.lostWithCollector) << " sent to one that is gone";
    table.row("left waiting", totals.waiting) << " not taken at the end";
    printCollector(out, use, totals.sent);
    out << '\n';
}

}  // namespace QdxLoad
