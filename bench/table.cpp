#include "table.hpp"

#include <algorithm>
#include <array>
#include <iomanip>
#include <sstream>

namespace Qdx::Bench {

namespace {

using Cells = std::array<std::string, 9>;

const Cells titles = {"case", "value", "unit",    "yardstick",  "ratio",
                      "must", "aim",   "verdict", "to 1 filter"};
constexpr std::size_t lastColumn = std::tuple_size_v<Cells> - 1;

bool isText(std::size_t column) {
    return column == 0 || column == 2 || column == 7;
}

std::string number(double value) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(value < 10 ? 2 : value < 1000 ? 1 : 0) << value;
    return text.str();
}

double millionsPerSecond(double nanoseconds) {
    return 1000 / nanoseconds;
}

std::string limit(const Row& row, double value) {
    std::ostringstream text;
    switch (row.target->measure) {
        case Measure::Ratio:
            text << value << " x";
            break;
        case Measure::Value:
            text << value << " " << row.unit;
            break;
        case Measure::MillionsPerSecond:
            text << value << " M/s";
            break;
    }
    return text.str();
}

bool holds(const Row& row, double value) {
    switch (row.target->measure) {
        case Measure::Ratio:
            return row.value <= value * row.yardstick.value();
        case Measure::Value:
            return row.value <= value;
        case Measure::MillionsPerSecond:
            return millionsPerSecond(row.value) >= value;
    }
    return false;
}

std::string times(double value, const std::optional<double>& reference) {
    return reference ? number(value / *reference) + " x" : "";
}

std::string ratio(const Row& row) {
    if (row.yardstick) {
        return times(row.value, row.yardstick);
    }
    const bool isRate = row.target && row.target->measure == Measure::MillionsPerSecond;
    return isRate ? number(millionsPerSecond(row.value)) + " M/s" : "";
}

Cells cellsOf(const Row& row) {
    const bool aims = row.target && row.target->aim;
    return {row.name,
            number(row.value),
            row.unit,
            row.yardstick ? number(*row.yardstick) : "",
            ratio(row),
            row.target ? limit(row, row.target->must) : "",
            aims ? limit(row, *row.target->aim) : "",
            verdict(row),
            times(row.value, row.collector)};
}

std::string pointsOf(const Row& row) {
    std::string text;
    for (const auto& point : row.points) {
        text += text.empty() ? "" : " ";
        text += point.curve + "=" + std::to_string(point.x);
    }
    return text;
}

}  // namespace

std::string verdict(const Row& row) {
    if (!row.target) {
        return "";
    }
    if (row.target->aim && holds(row, *row.target->aim)) {
        return "aim";
    }
    return holds(row, row.target->must) ? "must" : "missed";
}

void print(const std::vector<Row>& rows, std::ostream& out) {
    std::vector<Cells> lines{titles};
    std::transform(rows.begin(), rows.end(), std::back_inserter(lines), cellsOf);
    std::array<std::size_t, std::tuple_size_v<Cells>> widths{};
    for (const auto& line : lines) {
        for (std::size_t column = 0; column < widths.size(); ++column) {
            widths[column] = std::max(widths[column], line[column].size());
        }
    }
    for (const auto& line : lines) {
        std::ostringstream text;
        for (std::size_t column = 0; column <= lastColumn; ++column) {
            text << (column == 0 ? "" : "  ") << (isText(column) ? std::left : std::right)
                 << std::setw(static_cast<int>(widths[column])) << line[column];
        }
        auto untrimmed = text.str();
        untrimmed.erase(untrimmed.find_last_not_of(' ') + 1);
        out << untrimmed << '\n';
    }
}

void printTabbed(const std::vector<Row>& rows, std::ostream& out) {
    const auto line = [&out](const Cells& cells, const std::string& points) {
        for (const auto& cell : cells) {
            out << cell << '\t';
        }
        out << points << '\n';
    };
    line(titles, "points");
    for (const auto& row : rows) {
        line(cellsOf(row), pointsOf(row));
    }
}

}  // namespace Qdx::Bench
