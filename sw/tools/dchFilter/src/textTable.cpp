#include "textTable.hpp"

#include <algorithm>
#include <sstream>

namespace DchFilter {

namespace {

constexpr const char* gap = "  ";

std::vector<std::size_t> widthsOf(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths(rows.empty() ? 0 : rows.front().size());
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    return widths;
}

}  // namespace

std::string wrapped(std::string_view text, std::size_t indent) {
    std::istringstream words{std::string(text)};
    const std::string margin(indent, ' ');
    std::string lines;
    std::string line;
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > screenWidth) {
            lines.append(line).append("\n");
            line.clear();
        }
        line.append(line.empty() ? margin : " ").append(word);
    }
    return line.empty() ? lines : lines.append(line).append("\n");
}

std::string laidOut(const std::vector<std::vector<std::string>>& rows, std::size_t indent) {
    const auto widths = widthsOf(rows);
    std::string lines;
    for (const auto& row : rows) {
        auto line = std::string(indent, ' ').append(row[0]);
        line.append(widths[0] - row[0].size(), ' ');
        for (std::size_t i = 1; i < widths.size(); ++i) {
            line.append(gap).append(widths[i] - row[i].size(), ' ').append(row[i]);
        }
        lines.append(line, 0, line.find_last_not_of(' ') + 1).append("\n");
    }
    return lines;
}

}  // namespace DchFilter
