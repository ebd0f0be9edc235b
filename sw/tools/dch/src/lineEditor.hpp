// A line of a terminal, with editing.
#pragma once

#include <cstdio>
#include <functional>
#include <optional>
#include <string>

#include "interrupts.hpp"
#include "words.hpp"

namespace Dch {

// Reads from standard input, which is a terminal, with the keys that people have set for GNU
// readline. Ctrl-C drops the line; "?" at the beginning of a word explains at once, without
// becoming part of the line (Ctrl-V types one). One at a time in a process. The terminal is as it
// was whenever no line is being read.
class LineEditor {
public:
    // Both get the text before the cursor.
    struct Helpers {
        std::function<Words(const std::string& before)> complete;
        std::function<std::string(const std::string& before)> explain;
    };

    // interrupts must outlive the editor. name is that of the program in the settings of keys.
    LineEditor(const std::string& name, Helpers helpers, const Interrupts& interrupts);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    // The line without its end, with newlines in it if some were pasted; empty if it was dropped,
    // nothing at the end of input.
    std::optional<std::string> read();

private:
    void refresh() const;
    void showCtrlC();
    void drop();

    static int readKey(std::FILE* terminal);
    static void takeLine(char* line);
    static char** completeWord(const char* word, int begin, int end);
    static int explainHere(int count, int key);

    // Readline's functions for these have no place for an object.
    static LineEditor* current_;

    const std::string name_;
    const std::string prompt_;
    const Helpers helpers_;
    const Interrupts& interrupts_;
    bool done_ = false;
    bool showedCtrlC_ = false;
    std::optional<std::string> line_;
};

}  // namespace Dch
