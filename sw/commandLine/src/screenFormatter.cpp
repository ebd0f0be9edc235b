#include "screenFormatter.hpp"

#include <algorithm>
#include <sstream>
#include <vector>

namespace Qdx::CommandLine {

namespace {

constexpr std::size_t screenWidth = 80;
constexpr std::size_t margin = 2;
constexpr std::size_t gap = 2;
constexpr std::size_t widestName = 24;

// What is typed, and what comes of it.
struct Row {
    std::string name;
    std::string text;
};

std::string spaced(std::string names) {
    for (auto comma = names.find(','); comma != std::string::npos;
         comma = names.find(',', comma + 1)) {
        names.insert(comma + 1, " ");
    }
    return names;
}

// Without what checks of the value have to say of themselves.
std::string valueName(const CLI::Option& option) {
    const auto name = option.get_type_name();
    return option.get_type_size() == 0 ? "" : name.substr(0, name.find(':'));
}

std::string optionName(const CLI::Option& option) {
    const auto value = valueName(option);
    return spaced(option.get_name(false, true)).append(value.empty() ? "" : " ").append(value);
}

// Help and version are one row, and the last.
Row lastRow(const CLI::App& app) {
    Row row{optionName(*app.get_help_ptr()), app.get_help_ptr()->get_description()};
    if (app.get_version_ptr() != nullptr) {
        row.name.append(", ").append(optionName(*app.get_version_ptr()));
        row.text.append(", or the version");
    }
    return row;
}

std::vector<Row> rowsOf(const CLI::App& app) {
    std::vector<Row> rows;
    for (const auto* const command : app.get_subcommands({})) {
        rows.push_back({command->get_name(), command->get_description()});
    }
    for (const auto* const option : app.get_options()) {
        if (option->get_positional()) {
            rows.push_back({option->get_name(true), option->get_description()});
        }
    }
    for (const auto* const option : app.get_options()) {
        if (option->nonpositional() && option != app.get_help_ptr() &&
            option != app.get_version_ptr()) {
            rows.push_back({optionName(*option), option->get_description()});
        }
    }
    rows.push_back(lastRow(app));
    return rows;
}

// The words of a text in lines that begin at a column, the first of which is there already.
void writeWrapped(std::ostream& out, const std::string& text, std::size_t begin) {
    std::istringstream words(text);
    std::size_t column = begin;
    for (std::string word; words >> word;) {
        if (column > begin && column + 1 + word.size() > screenWidth) {
            out << '\n' << std::string(begin, ' ');
            column = begin;
        }
        out << (column > begin ? " " : "") << word;
        column += (column > begin ? 1 : 0) + word.size();
    }
    out << '\n';
}

void writeRow(std::ostream& out, const Row& row, std::size_t nameWidth) {
    const auto begin = margin + nameWidth + gap;
    out << std::string(margin, ' ') << row.name;
    if (row.name.size() > nameWidth) {
        out << '\n' << std::string(begin, ' ');
    } else {
        out << std::string(nameWidth - row.name.size() + gap, ' ');
    }
    writeWrapped(out, row.text, begin);
}

std::string usageOf(const CLI::App& app, const std::string& name) {
    auto usage = "usage: " + name + " [OPTION...]";
    if (!app.get_subcommands({}).empty()) {
        usage += " COMMAND";
    }
    for (const auto* const option : app.get_options()) {
        if (option->get_positional()) {
            const auto value = option->get_name(true);
            usage += option->get_required() ? " " + value : " [" + value + "]";
        }
    }
    return usage;
}

}  // namespace

std::string ScreenFormatter::make_help(const CLI::App* app, std::string name,
                                       CLI::AppFormatMode /*mode*/) const {
    std::ostringstream out;
    out << usageOf(*app, name) << '\n';
    writeWrapped(out, app->get_description(), 0);
    const auto rows = rowsOf(*app);
    std::size_t nameWidth = 0;
    for (const auto& row : rows) {
        if (row.name.size() <= widestName) {
            nameWidth = std::max(nameWidth, row.name.size());
        }
    }
    for (const auto& row : rows) {
        writeRow(out, row, nameWidth);
    }
    // Commands inherit it from their program.
    if (app->get_parent() == nullptr && !app->get_footer().empty()) {
        out << '\n' << app->get_footer() << '\n';
    }
    return out.str();
}

}  // namespace Qdx::CommandLine
