#include "commandTable.hpp"

#include <sstream>

namespace Dch {

namespace {

constexpr std::size_t width = 80;
constexpr std::string_view indent = "      ";

std::string layOutHelp(const std::string& help) {
    std::istringstream words(help);
    std::string text;
    std::string line;
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > width) {
            text += line + '\n';
            line.clear();
        }
        line.append(line.empty() ? indent : " ").append(word);
    }
    return line.empty() ? text : text + line + '\n';
}

}  // namespace

std::string layOutTable(std::string_view rows) {
    std::istringstream lines{std::string(rows)};
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        const auto tab = line.find('\t');
        text += "  " + line.substr(0, tab) + '\n';
        if (tab != std::string::npos) {
            text += layOutHelp(line.substr(tab + 1));
        }
    }
    return text;
}

}  // namespace Dch
