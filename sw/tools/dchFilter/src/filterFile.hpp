// A file that describes a filter, as lines of words.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace DchFilter {

struct Word {
    std::string text;
    std::size_t column;  // of its first byte in the line, from 0
};

// A line that says something.
struct FileLine {
    std::size_t number;  // from 1
    std::string text;
    std::vector<Word> words;  // at least one
};

struct FilterFile {
    std::string name;  // for messages
    std::vector<FileLine> lines;
    std::size_t lineCount;  // with those that say nothing
};

// Cuts the text into lines and those into words, at blanks and tabs as a shell does. Blank lines
// and lines whose first word begins with "#" are left out. A line may end in a carriage return.
FilterFile readFilterFile(std::string name, std::string_view text);

// What the collector gets of a statement: its words with one blank in front of each.
std::string statementText(const FileLine& line);

// The column in the line, from 0, of the byte at an offset in its statement text. The end of the
// statement text, and the blank before a word, are in the column behind the word before them.
std::size_t columnOf(const FileLine& line, std::size_t offset);

}  // namespace DchFilter
