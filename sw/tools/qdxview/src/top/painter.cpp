#include "painter.hpp"

#include <algorithm>
#include <iterator>

#include "columns.hpp"
#include "texts.hpp"

namespace Qdxview {

namespace {

using Qdx::Pull::Glyphs;
using Qdx::Pull::SeriesDigest;

constexpr std::size_t headerLines = 3;  // the last of them empty
constexpr std::size_t lowScreen = 20;
constexpr std::size_t narrowestPlot = 8;
constexpr std::size_t wantedPlot = 16;
constexpr std::size_t widestPlot = 64;

// --- The header --------------------------------------------------------------------------------

std::string useText(std::uint64_t bytes, const std::optional<std::uint64_t>& limit) {
    auto use = std::string("~").append(bytesText(bytes));
    return limit ? use.append(" of ").append(bytesText(*limit)) : use;
}

// How much of everything there is, as far as it was pulled.
std::string summaryText(const Picture& picture) {
    std::size_t series = 0;
    std::size_t values = 0;
    std::uint64_t bytes = 0;
    bool whole = true;
    for (const auto& filter : picture.filters) {
        whole = whole &&
                (filter.digest || !filter.note.empty() || filter.state == FilterState::Disabled);
        if (filter.digest) {
            series += filter.digest->seriesCount;
            values += filter.digest->values;
            bytes += filter.digest->budgetBytes;
        }
    }
    auto text = countText(picture.filters.size(), "filter", "filters");
    text.append(", ").append(std::to_string(series)).append(" series, ");
    text.append(countText(values, "value", "values")).append(whole ? ", " : ", at least ");
    return text.append(useText(bytes, picture.globalLimit));
}

Line stateLine(const Picture& picture, const Canvas& canvas) {
    constexpr auto noticeable = std::chrono::seconds(3);
    if (!picture.complaint.empty()) {
        std::string since;
        if (picture.answered) {
            since.append("no answer for ").append(ageText(*picture.answered, canvas.now));
            since.append(": ");
        }
        return {{since + picture.complaint, Style::Alert}};
    }
    Line line;
    if (picture.answered) {
        line.push_back({summaryText(picture)});
    }
    if (picture.askedSince && canvas.now - *picture.askedSince >= noticeable) {
        line.push_back(
            {line.empty() ? "waiting for an answer for " : ", waiting for an answer for "});
        line.push_back({ageText(*picture.askedSince, canvas.now), Style::Alert});
    } else if (line.empty()) {
        line.push_back({"asking the collector"});
    }
    return line;
}

std::string radioText(const Picture& picture) {
    return picture.radio.empty() ? "radio unknown" : picture.radio;
}

// --- The filters -------------------------------------------------------------------------------

const char* stateText(FilterState state) {
    switch (state) {
        case FilterState::Collects:
            return "on";
        case FilterState::Disabled:
            return "off";
        case FilterState::Sleeps:
            return "asleep";
        case FilterState::Unreachable:
            break;
    }
    return "hidden";
}

// In front of the selected filter, and of the others.
const std::string mark = "> ";
const std::string unmarked = "  ";

Cells filterCells(const FilterPicture& filter) {
    const auto* const digest = filter.digest.get();
    return {std::to_string(filter.id),
            filter.name,
            stateText(filter.state),
            digest != nullptr ? std::to_string(digest->seriesCount) : "-",
            digest != nullptr ? std::to_string(digest->values) : "-",
            digest != nullptr ? useText(digest->budgetBytes, filter.limit) : "-",
            filter.tags};
}

// The heading, then a line for each filter.
Screen filterTable(const Picture& picture, const View* view, const Canvas& canvas) {
    std::vector<Cells> rows;
    for (const auto& filter : picture.filters) {
        rows.push_back(filterCells(filter));
    }
    const Columns columns({{"ID", true},
                           {"NAME", false, 8},
                           {"STATE"},
                           {"SERIES", true},
                           {"VALUES", true},
                           {"USE"},
                           {"TAGS", false, 4}},
                          rows, canvas.size.columns - std::min(canvas.size.columns, mark.size()),
                          canvas.glyphs);
    Screen lines{Line{{unmarked + columns.headings(), Style::Heading}}};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& filter = picture.filters[i];
        const bool selected = view != nullptr && view->selected == filter.id;
        const auto style = selected                                ? Style::Selected
                           : filter.state == FilterState::Collects ? Style::Plain
                                                                   : Style::Faint;
        lines.push_back({{(selected ? mark : unmarked) + columns.text(rows[i]), style}});
    }
    return lines;
}

// Lines of the filters that fit, the heading not counted.
std::size_t filterRows(const Picture& picture, const Size& size) {
    const auto share = size.lines < lowScreen ? 6U : 3U;
    return std::min(picture.filters.size(), std::max<std::size_t>(size.lines / share, 1));
}

// So many of the filters that the selected one is among them.
Screen visibleFilters(const Picture& picture, const View& view, const Canvas& canvas) {
    auto lines = filterTable(picture, &view, canvas);
    const auto rows = filterRows(picture, canvas.size);
    const auto* const selected = selectedOf(view, picture);
    const auto row = selected == nullptr
                         ? std::size_t{0}
                         : static_cast<std::size_t>(selected - picture.filters.data());
    const auto first = row < rows ? 0 : row - rows + 1;
    const auto begin = lines.begin() + 1;
    lines.erase(begin + static_cast<std::ptrdiff_t>(first + rows), lines.end());
    lines.erase(begin, begin + static_cast<std::ptrdiff_t>(first));
    return lines;
}

// --- The series --------------------------------------------------------------------------------

const char* orderText(Order order) {
    switch (order) {
        case Order::Name:
            return ", by name";
        case Order::Newest:
            return ", newest first";
        case Order::Values:
            return ", most values first";
        case Order::AsPulled:
            break;
    }
    return "";
}

// Why a filter has no series to show. wake: how to pull one that is asleep.
std::string absenceText(const FilterPicture& filter, const std::string& wake) {
    switch (filter.state) {
        case FilterState::Disabled:
            return "The filter is disabled, and holds nothing.";
        case FilterState::Sleeps:
            return std::string("It collects from its first pull on; none was seen. ")
                .append(wake)
                .append(" pulls it.");
        case FilterState::Unreachable:
            return "Other filters have its name and its number: no command reaches it.";
        case FilterState::Collects:
            break;
    }
    return filter.note.empty() ? "It wasn't pulled yet." : filter.note;
}

std::string nameText(const FilterPicture& filter) {
    const auto id = std::to_string(filter.id);
    auto text = std::string("Filter ").append(filter.name);
    return filter.name == id ? text : text.append(" (").append(id).append(")");
}

// REQUIRES: the filter has a digest.
Line captionOf(const FilterPicture& filter, const View& view, std::size_t shown,
               const Canvas& canvas) {
    const auto& digest = *filter.digest;
    std::string text = ": ";
    if (shown != digest.seriesCount) {
        text.append(std::to_string(shown)).append(" of ");
    }
    text.append(std::to_string(digest.seriesCount)).append(" series");
    if (!view.search.empty()) {
        text.append(" with \"").append(view.search).append("\"");
    }
    text.append(orderText(view.order));
    text.append(", pulled ").append(ageText(*filter.pulled, canvas.now)).append(" ago");
    return {{nameText(filter), Style::Heading}, {text}};
}

Cells seriesCells(const SeriesDigest& series, WallTime now) {
    std::string age = "-";
    if (series.newestTime) {
        const std::chrono::seconds sinceEpoch(
            std::min<std::uint64_t>(*series.newestTime, 1ULL << 60U));
        age = ageText(WallTime(sinceEpoch), now);
    }
    return {series.name, series.context, series.aggregation, series.newest, age};
}

// On a narrow terminal the values matter more than the plot.
Columns seriesColumns(const std::vector<Cells>& rows, const Canvas& canvas) {
    constexpr std::size_t narrow = 80;
    const auto width = canvas.size.columns;
    const bool tight = width < narrow;
    return {{{"NAME", false, std::size_t{tight ? 8U : 20U}, true},
             {"CONTEXT", false, std::size_t{tight ? 4U : 12U}},
             {"AGGREGATION", false, std::size_t{tight ? 3U : 14U}},
             {"NEWEST", false, std::size_t{tight ? 10U : 12U}},
             {"AGE", true}},
            rows,
            tight ? width : width - wantedPlot - Columns::gap,
            canvas.glyphs};
}

// The heading, then a line for each series from the first shown on, so many at most.
Screen seriesTable(const std::vector<const SeriesDigest*>& all, std::size_t first, std::size_t most,
                   const Canvas& canvas) {
    std::vector<Cells> rows;
    rows.reserve(all.size());
    for (const auto* series : all) {
        rows.push_back(seriesCells(*series, canvas.now));
    }
    const auto width = canvas.size.columns;
    const auto columns = seriesColumns(rows, canvas);
    const auto used = columns.width() + Columns::gap;
    const auto rest = width - std::min(width, used);
    const auto plot = rest < narrowestPlot ? 0 : std::min(rest, widestPlot);
    const std::string gap(plot > 0 ? Columns::gap : 0, ' ');
    Screen lines{Line{{columns.headings() + gap + (plot > 0 ? "PLOT" : ""), Style::Heading}}};
    for (auto i = first; i < rows.size() && i - first < most; ++i) {
        lines.push_back(
            {{columns.text(rows[i]) + gap}, {plotOf(*all[i], plot, canvas.glyphs), Style::Plot}});
    }
    return lines;
}

// The same; so many series at most.
Screen seriesPane(const FilterPicture& filter, const View& view, std::size_t most,
                  const Canvas& canvas) {
    const auto all = seriesOf(view, *filter.digest);
    Screen lines{captionOf(filter, view, all.size(), canvas)};
    const auto last = all.size() - std::min(all.size(), most);
    const auto table = seriesTable(all, std::min(view.firstSeries, last), most, canvas);
    lines.insert(lines.end(), table.begin(), table.end());
    return lines;
}

Screen absencePane(const FilterPicture& filter, const std::string& wake) {
    return {Line{{nameText(filter), Style::Heading}}, Line{{absenceText(filter, wake)}}};
}

// --- The screen --------------------------------------------------------------------------------

Line footer(const View& view, const Canvas& canvas) {
    if (view.searching) {
        return {{std::string("Search: ").append(view.search).append("_")},
                {"  Enter keeps it, Escape ends it", Style::Faint}};
    }
    const bool arrows = canvas.glyphs == Glyphs::Unicode;
    return {
        {arrows
             ? "q quit  ? help  ↑↓ filter  ←→ series  / search  s sort  p pause  +- period"
             : "q quit  ? help  jk filter  PgUp PgDn series  / search  s sort  p pause  +- period",
         Style::Faint}};
}

Screen helpLines() {
    Screen lines;
    for (const auto* text :
         {"up, down, j, k           select another filter",
          "left, right, PgUp, PgDn  scroll its series; Home and End to the ends",
          "Enter                    pull a filter that is asleep, which makes it collect",
          "/                        show the series that have a text; Escape shows all again",
          "s                        sort: as pulled, by name, newest first, most values first",
          "p                        pause, and go on",
          "+, -                     refresh less often, more often",
          "q                        quit", "",
          "USE estimates what the series shown take of the filter's budget.",
          "Any key leaves this help."}) {
        lines.push_back(Line{{text}});
    }
    return lines;
}

Screen header(const Picture& picture, const std::string& right, const Canvas& canvas) {
    return {spread({{radioText(picture), Style::Heading}}, {right}, canvas.size.columns),
            stateLine(picture, canvas),
            {}};
}

std::string refreshText(const View& view) {
    return view.paused ? "paused  "
                       : std::string("every ").append(periodText(view.period)).append("  ");
}

void append(Screen& screen, Screen lines) {
    std::move(lines.begin(), lines.end(), std::back_inserter(screen));
}

Screen body(const Picture& picture, const View& view, const Canvas& canvas) {
    if (!picture.answered || picture.filters.empty()) {
        return picture.answered ? Screen{Line{{"There are no filters."}}} : Screen{};
    }
    auto lines = visibleFilters(picture, view, canvas);
    lines.emplace_back();
    const auto* const filter = selectedOf(view, picture);
    if (filter != nullptr && filter->digest) {
        append(lines, seriesPane(*filter, view, seriesPage(picture, canvas.size), canvas));
    } else if (filter != nullptr) {
        append(lines, absencePane(*filter, "Enter"));
    }
    return lines;
}

void cutLines(Screen& screen, const Canvas& canvas) {
    for (auto& line : screen) {
        line = cutLine(line, canvas.size.columns, canvas.glyphs);
    }
}

}  // namespace

std::size_t seriesPage(const Picture& picture, const Size& size) {
    // The headings of both tables, an empty line between them, the caption, the footer.
    const auto others = headerLines + 1 + filterRows(picture, size) + 1 + 2 + 1;
    return size.lines > others ? size.lines - others : 1;
}

Screen paint(const Picture& picture, const View& view, const Canvas& canvas) {
    auto screen = header(picture, refreshText(view) + clockText(canvas.now), canvas);
    auto lines = view.help ? helpLines() : body(picture, view, canvas);
    if (!picture.complaint.empty()) {
        for (auto& line : lines) {
            line = restyled(line, Style::Faint);
        }
    }
    append(screen, std::move(lines));
    screen.resize(std::max<std::size_t>(canvas.size.lines, 1) - 1);
    screen.push_back(footer(view, canvas));
    cutLines(screen, canvas);
    return screen;
}

Screen paintWhole(const Picture& picture, const Canvas& canvas) {
    const View everything;
    auto screen = header(picture, clockText(canvas.now), canvas);
    if (picture.filters.empty()) {
        screen.push_back(Line{{"There are no filters."}});
    } else {
        append(screen, filterTable(picture, nullptr, canvas));
    }
    for (const auto& filter : picture.filters) {
        screen.emplace_back();
        append(screen, filter.digest
                           ? seriesPane(filter, everything, filter.digest->series.size(), canvas)
                           : absencePane(filter, std::string("--filter ").append(filter.name)));
    }
    cutLines(screen, canvas);
    return screen;
}

}  // namespace Qdxview
