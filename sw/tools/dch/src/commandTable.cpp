#include "commandTable.hpp"

#include "words.hpp"

namespace Dch {

namespace {

constexpr std::size_t width = 80;
constexpr std::string_view indent = "      ";

std::string layOutHelp(const std::string& help) {
    std::string text;
    std::string line;
    for (const auto& word : splitWords(help)) {
        if (!line.empty() && line.size() + 1 + word.size() > width) {
            text += line + '\n';
            line.clear();
        }
        line.append(line.empty() ? indent : " ").append(word);
    }
    return line.empty() ? text : text + line + '\n';
}

}  // namespace

Table parseTable(std::string_view lines) {
    Table table;
    for (const auto& line : splitLines(lines)) {
        const auto tab = line.find('\t');
        table.push_back(
            {line.substr(0, tab), tab == std::string::npos ? "" : line.substr(tab + 1)});
    }
    return table;
}

std::string layOutSyntax(const Table& table) {
    std::string text;
    for (const auto& row : table) {
        text += "  " + row.syntax + '\n';
    }
    return text;
}

std::string layOutTable(const Table& table) {
    std::string text;
    for (const auto& row : table) {
        text += "  " + row.syntax + '\n' + layOutHelp(row.help);
    }
    return text;
}

}  // namespace Dch
