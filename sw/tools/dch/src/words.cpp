#include "words.hpp"

#include <algorithm>

namespace Dch {

Words splitWords(std::string_view line) {
    Words words;
    for (;;) {
        line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
        if (line.empty()) {
            return words;
        }
        const auto word = line.substr(0, line.find_first_of(blanks));
        words.emplace_back(word);
        line.remove_prefix(word.size());
    }
}

std::vector<std::string> splitLines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const auto line = text.substr(0, text.find('\n'));
        lines.emplace_back(line);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return lines;
}

}  // namespace Dch
