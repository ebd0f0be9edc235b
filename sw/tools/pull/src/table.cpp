#include "pull/table.hpp"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "recordText.hpp"
#include "series.hpp"
#include "sparkline.hpp"
#include "valueText.hpp"

namespace Qdx::Pull {

namespace {

constexpr std::size_t widestName = 48;
constexpr std::size_t widestUnit = 16;
constexpr std::size_t widestRecord = 48;
constexpr std::size_t mostNewest = 3;
constexpr std::size_t comfortablePlot = 16;
constexpr std::size_t narrowestPlot = 8;
constexpr std::size_t widestPlot = 40;
constexpr std::size_t gap = 2;

// A series, ready to be laid out.
struct Row {
    Series series;
    std::string name;
    std::string unit;
    Scale scale;
    std::string newestRecord;  // of a series of records
};

struct Layout {
    std::size_t newest;  // values in the column of newest values
    std::size_t plot;    // columns of the plot; 0 for none
};

// The cells of a line without its plot.
using Cells = std::array<std::string, 5>;
using Widths = std::array<std::size_t, std::tuple_size_v<Cells>>;

constexpr std::size_t countColumn = 3;

std::string cut(const std::string& text, std::size_t width, Glyphs glyphs) {
    return cutTo(plainText(text, glyphs), width, glyphs);
}

Row makeRow(Series series, const Catalogue& catalogue, Glyphs glyphs) {
    static const CatalogueObject unknown;
    const auto* const known = catalogue.find(series.id);
    const auto& object = known != nullptr ? *known : unknown;
    const auto name = known != nullptr ? object.name : std::to_string(series.id);
    const auto record = series.records.empty()
                            ? std::string()
                            : recordText(series.records.back(), object.messageType);
    return {std::move(series), cut(name, widestName, glyphs), cut(object.unit, widestUnit, glyphs),
            Scale(object.resolution), cut(record, widestRecord, glyphs)};
}

std::vector<Row> makeRows(const Qdx::InfoObjectCollections& message, const Catalogue& catalogue,
                          Glyphs glyphs) {
    std::vector<Row> rows;
    for (auto& series : seriesOf(message)) {
        rows.push_back(makeRow(std::move(series), catalogue, glyphs));
    }
    return rows;
}

std::string newestOf(const Row& row, std::size_t newest) {
    return row.series.records.empty() ? newestText(row.series, row.scale, row.unit, newest)
                                      : row.newestRecord;
}

Cells cellsOf(const Row& row, std::size_t newest) {
    return {row.name, row.series.context, row.series.aggregation, std::to_string(row.series.size()),
            newestOf(row, newest)};
}

const Cells& headings() {
    static const Cells cells{"NAME", "CONTEXT", "AGGREGATION", "VALUES", "NEWEST"};
    return cells;
}

Widths widthsOf(const std::vector<Row>& rows, std::size_t newest) {
    Widths widths{};
    const auto widen = [&widths](const Cells& cells) {
        for (std::size_t column = 0; column < cells.size(); ++column) {
            widths[column] = std::max(widths[column], columns(cells[column]));
        }
    };
    widen(headings());
    for (const auto& row : rows) {
        widen(cellsOf(row, newest));
    }
    return widths;
}

// What the cells leave of the line for a plot.
std::size_t restOf(const Widths& widths, std::size_t lineWidth) {
    std::size_t used = 0;
    for (const auto width : widths) {
        used += width + gap;
    }
    return lineWidth > used ? lineWidth - used : 0;
}

Layout layOut(const std::vector<Row>& rows, std::size_t lineWidth) {
    for (std::size_t newest = mostNewest; newest > 1; --newest) {
        const auto rest = restOf(widthsOf(rows, newest), lineWidth);
        if (rest >= comfortablePlot) {
            return {newest, std::min(rest, widestPlot)};
        }
    }
    const auto rest = restOf(widthsOf(rows, 1), lineWidth);
    return {1, rest < narrowestPlot ? 0 : std::min(rest, widestPlot)};
}

void printLine(std::ostream& out, const Cells& cells, const Widths& widths,
               const std::string& plot) {
    std::string line;
    for (std::size_t column = 0; column < cells.size(); ++column) {
        const std::string padding(widths[column] - columns(cells[column]), ' ');
        line += column == countColumn ? padding + cells[column] : cells[column] + padding;
        line.append(gap, ' ');
    }
    line += plot;
    out << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
}

void printRows(std::ostream& out, const std::vector<Row>& rows, const TableStyle& style) {
    const auto layout = layOut(rows, style.width);
    const auto widths = widthsOf(rows, layout.newest);
    printLine(out, headings(), widths, layout.plot > 0 ? "PLOT" : "");
    for (const auto& row : rows) {
        printLine(out, cellsOf(row, layout.newest), widths,
                  sparkline(row.series.numbers, layout.plot, style.glyphs));
    }
}

void append(std::string& line, const char* label, const std::string& text) {
    if (!text.empty()) {
        line.append(line.empty() ? "" : ", ").append(label).append(text);
    }
}

std::string withRevision(const std::string& number, const std::string& revision) {
    return revision.empty() ? number : number + " revision " + revision;
}

// The radio in one line.
std::string radioText(const Qdx::RadioMetaData& radio) {
    std::string line;
    append(line, "", radio.hwname());
    append(line, "serial number ", radio.hwserialnumber());
    append(line, "hardware ", withRevision(radio.hwproductnumber(), radio.hwproductrevision()));
    append(line, "software ", withRevision(radio.swproductnumber(), radio.swproductrevision()));
    return line.empty() ? "unknown" : line;
}

std::string summaryText(const std::vector<Row>& rows, const std::optional<TimeSpan>& span) {
    std::size_t values = 0;
    for (const auto& row : rows) {
        values += row.series.size();
    }
    auto text = std::to_string(rows.size()) + " series, " + std::to_string(values) + " values";
    if (span) {
        text += ", " + timeSpanText(*span) + " UTC";
    }
    return text;
}

}  // namespace

void printTable(std::ostream& out, const Qdx::InfoObjectCollections& message,
                const Catalogue& catalogue, const TableStyle& style) {
    const auto rows = makeRows(message, catalogue, style.glyphs);
    out << "Radio: " << plainText(radioText(message.radiometadata()), style.glyphs) << '\n'
        << summaryText(rows, timeSpanOf(message)) << '\n';
    if (!rows.empty()) {
        out << '\n';
        printRows(out, rows, style);
    }
}

}  // namespace Qdx::Pull
