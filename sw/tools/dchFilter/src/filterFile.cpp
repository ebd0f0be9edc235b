#include "filterFile.hpp"

#include <algorithm>
#include <utility>

namespace DchFilter {

namespace {

constexpr std::string_view blanks = " \t";

std::vector<Word> splitWords(std::string_view line) {
    std::vector<Word> words;
    auto begin = line.find_first_not_of(blanks);
    while (begin != std::string_view::npos) {
        const auto end = std::min(line.find_first_of(blanks, begin), line.size());
        words.push_back({std::string(line.substr(begin, end - begin)), begin});
        begin = line.find_first_not_of(blanks, end);
    }
    return words;
}

// The first line of text, without its end; text goes on behind it.
std::string_view takeLine(std::string_view& text) {
    const auto end = std::min(text.find('\n'), text.size());
    auto line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

}  // namespace

FilterFile readFilterFile(std::string name, std::string_view text) {
    FilterFile file{std::move(name), {}, 0};
    while (!text.empty()) {
        const auto line = takeLine(text);
        ++file.lineCount;
        auto words = splitWords(line);
        if (!words.empty() && !words.front().text.starts_with('#')) {
            file.lines.push_back({file.lineCount, std::string(line), std::move(words)});
        }
    }
    return file;
}

std::string statementText(const FileLine& line) {
    std::string text;
    for (const auto& word : line.words) {
        text.append(" ").append(word.text);
    }
    return text;
}

std::size_t columnOf(const FileLine& line, std::size_t offset) {
    std::size_t behind = 0;
    std::size_t blank = 0;  // offset of the blank before the word
    for (const auto& word : line.words) {
        if (offset <= blank) {
            break;
        }
        const auto inWord = std::min(offset - blank - 1, word.text.size());
        behind = word.column + inWord;
        blank += 1 + word.text.size();
    }
    return behind;
}

}  // namespace DchFilter
