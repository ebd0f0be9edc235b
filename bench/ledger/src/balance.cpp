#include "balance.hpp"

#include <algorithm>
#include <iomanip>
#include <numeric>
#include <vector>

namespace QdxLedger {
namespace {

constexpr std::array<std::string_view, endCount> names{"dropped notConnected",
                                                       "dropped refusedRevision",
                                                       "dropped slowCollector",
                                                       "dropped noMemory",
                                                       "dropped tooLarge",
                                                       "lost with its collector",
                                                       "not captured",
                                                       "not offered",
                                                       "refused",
                                                       "too large",
                                                       "cut off",
                                                       "unrestored",
                                                       "given way",
                                                       "cleared",
                                                       "taken by a clearing pull",
                                                       "in the open window",
                                                       "in a window",
                                                       "in a list"};

constexpr int labelWidth = 26;

int widthOf(const std::string& row) {
    return static_cast<int>(std::max<std::size_t>(row.size(), 10)) + 2;
}

}  // namespace

std::string_view nameOf(End end) {
    return names[static_cast<std::size_t>(end)];
}

std::uint64_t sumOf(const Counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

void BalanceSheet::add(const std::string& row, const Counts& counts) {
    auto& sums = rows[row];
    std::transform(sums.begin(), sums.end(), counts.begin(), sums.begin(), std::plus<>());
}

void BalanceSheet::print(std::ostream& out) const {
    const auto line = [&](std::string_view label, const auto& valueOf) {
        out << std::left << std::setw(labelWidth) << label << std::right;
        for (const auto& [row, counts] : rows) {
            out << std::setw(widthOf(row)) << valueOf(row, counts);
        }
        out << '\n';
    };
    line("samples", [](const std::string& row, const Counts&) { return row; });
    for (std::size_t end = 0; end < endCount; ++end) {
        const bool occurs = std::any_of(rows.begin(), rows.end(),
                                        [&](const auto& row) { return row.second[end] > 0; });
        if (occurs) {
            line(names[end], [&](const std::string&, const Counts& counts) { return counts[end]; });
        }
    }
    line("sum", [](const std::string&, const Counts& counts) { return sumOf(counts); });
}

void BalanceSheet::printCsv(std::ostream& out) const {
    out << "row";
    for (const auto name : names) {
        out << ',' << name;
    }
    out << ",sum\n";
    for (const auto& [row, counts] : rows) {
        out << row;
        for (const auto count : counts) {
            out << ',' << count;
        }
        out << ',' << sumOf(counts) << '\n';
    }
}

}  // namespace QdxLedger
