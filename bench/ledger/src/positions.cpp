#include "positions.hpp"

#include <algorithm>
#include <limits>

namespace QdxLedger {
namespace {

constexpr auto never = std::numeric_limits<std::uint64_t>::max();

// Of the grid's deliveries with an index below the position.
std::size_t countBelow(const Grid& grid, std::uint64_t position) {
    const auto& deliveries = *grid.deliveries;
    const auto end =
        std::partition_point(deliveries.begin(), deliveries.end(),
                             [&](const Delivery& delivery) { return delivery.index < position; });
    const auto count = static_cast<std::size_t>(end - deliveries.begin());
    return count <= grid.offset ? 0 : (count - grid.offset - 1) / grid.step + 1;
}

std::uint64_t indexAt(const Grid& grid, std::size_t number) {
    const auto place = grid.offset + number * grid.step;
    return place < grid.deliveries->size() ? (*grid.deliveries)[place].index : never;
}

std::vector<std::uint64_t> endsOf(const QdxLoad::FrontendLedger& frontend) {
    std::vector<std::uint64_t> ends{0};
    for (const auto& range : frontend.ranges) {
        if (range.fate == QdxLoad::Fate::Sent && range.number == frontend.lastConnection) {
            ends.push_back(range.end);
        }
    }
    return ends;
}

}  // namespace

Positions::Positions(const Ledger& runLedger, const Journal& runJournal)
    : journal(runJournal),
      bounds(runLedger.plan.frontends, std::vector<Bounds>(runJournal.size())),
      fewerRules(runLedger.plan.frontends),
      alignedRules(runLedger.plan.frontends) {
    for (std::uint32_t frontend = 0; frontend < runLedger.plan.frontends; ++frontend) {
        ends.push_back(endsOf(runLedger.frontends[frontend]));
        for (std::size_t number = 0; number < journal.size(); ++number) {
            auto& bound = bounds[frontend][number];
            bound.high = roundDown(frontend, journal[number].added[frontend]);
            bound.low = journal[number].isExact ? bound.high : 0;
            bound.lowName = bound.highName = "what was added by then";
        }
    }
}

std::uint64_t Positions::roundUp(std::uint32_t frontend, std::uint64_t position) const {
    const auto& all = ends[frontend];
    const auto end = std::lower_bound(all.begin(), all.end(), position);
    return end == all.end() ? never : *end;
}

std::uint64_t Positions::roundDown(std::uint32_t frontend, std::uint64_t position) const {
    const auto& all = ends[frontend];
    return *std::prev(std::upper_bound(all.begin(), all.end(), position));
}

bool Positions::raise(std::size_t operation, std::uint32_t frontend, std::uint64_t low,
                      const std::string& name) {
    auto& bound = bounds[frontend][operation];
    const auto rounded = roundUp(frontend, low);
    if (rounded <= bound.low) {
        return false;
    }
    bound.low = rounded;
    bound.lowName = name;
    return true;
}

void Positions::after(std::size_t operation, std::uint32_t frontend, std::uint64_t index,
                      const std::string& name) {
    raise(operation, frontend, index + 1, name);
}

void Positions::before(std::size_t operation, std::uint32_t frontend, std::uint64_t index,
                       const std::string& name) {
    auto& bound = bounds[frontend][operation];
    const auto rounded = roundDown(frontend, index);
    if (rounded < bound.high) {
        bound.high = rounded;
        bound.highName = name;
    }
}

void Positions::fewer(std::size_t from, std::size_t to, std::uint32_t frontend, const Grid& grid,
                      std::size_t bound) {
    fewerRules[frontend].push_back({from, to, grid, bound});
}

void Positions::aligned(std::size_t operation, std::uint32_t frontend, const Grid& grid) {
    alignedRules[frontend].push_back({operation, grid});
}

// All rules only raise the lower bounds, and each as little as it can: what they come to is the
// earliest solution, if that is below the upper bounds; if it isn't, there is none.
std::vector<std::string> Positions::solve() {
    std::vector<std::string> faults;
    for (std::uint32_t frontend = 0; frontend < bounds.size(); ++frontend) {
        auto fault = conflict(frontend);
        while (fault.empty() && raiseAll(frontend)) {
            fault = conflict(frontend);
        }
        if (!fault.empty()) {
            faults.push_back(fault);
        }
    }
    return faults;
}

bool Positions::raiseAll(std::uint32_t frontend) {
    bool changed = false;
    for (std::size_t number = 1; number < journal.size(); ++number) {
        const auto& before = bounds[frontend][number - 1];
        changed |= raise(number, frontend, before.low, before.lowName);
    }
    for (const auto& rule : fewerRules[frontend]) {
        changed |= apply(rule, frontend);
    }
    for (const auto& rule : alignedRules[frontend]) {
        changed |= apply(rule, frontend);
    }
    return changed;
}

bool Positions::apply(const Fewer& rule, std::uint32_t frontend) {
    const auto& to = bounds[frontend][rule.to];
    const auto handled = countBelow(rule.grid, to.low);
    return handled >= rule.bound &&
           raise(rule.from, frontend, indexAt(rule.grid, handled - rule.bound) + 1, to.lowName);
}

bool Positions::apply(const Aligned& rule, std::uint32_t frontend) {
    const auto& bound = bounds[frontend][rule.operation];
    const auto next = countBelow(rule.grid, bound.low);
    const auto place = rule.grid.offset + next * rule.grid.step;
    if (place == 0 || place > rule.grid.deliveries->size()) {
        return false;
    }
    return raise(rule.operation, frontend, (*rule.grid.deliveries)[place - 1].index + 1,
                 bound.lowName);
}

std::string Positions::conflict(std::uint32_t frontend) const {
    for (std::size_t number = 0; number < journal.size(); ++number) {
        const auto& bound = bounds[frontend][number];
        if (bound.low > bound.high) {
            const auto low =
                bound.low == never ? "more than all" : std::to_string(bound.low).append(" or more");
            return "order: at " + describe(journal, number) + " the collector had handled " + low +
                   " samples of frontend " + std::to_string(frontend) + " by " + bound.lowName +
                   ", but " + std::to_string(bound.high) + " at most by " + bound.highName;
        }
    }
    return {};
}

}  // namespace QdxLedger
