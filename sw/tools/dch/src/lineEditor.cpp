#include "lineEditor.hpp"

#include <poll.h>
#include <unistd.h>

// Needs the declaration of FILE before it.
#include <readline/readline.h>
#include <cstdio>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace Dch {

namespace {

// What readline frees later.
char* copyOf(const std::string& text) {
    return strdup(text.c_str());
}

std::string commonBeginning(const Words& words) {
    auto common = words.front();
    for (const auto& word : words) {
        const auto ends = std::mismatch(common.begin(), common.end(), word.begin(), word.end());
        common.erase(ends.first, common.end());
    }
    return common;
}

// As readline wants them: what they have in common, then each, then a null pointer.
char** matchesOf(const Words& words) {
    if (words.empty()) {
        return nullptr;
    }
    const bool single = words.size() == 1;
    auto** const matches = static_cast<char**>(std::calloc(words.size() + 2, sizeof(char*)));
    if (matches == nullptr) {
        return nullptr;
    }
    auto** next = matches;
    *next++ = copyOf(commonBeginning(words));
    for (std::size_t i = 0; i < words.size() && !single; ++i) {
        *next++ = copyOf(words[i]);
    }
    return matches;
}

void endRow() {
    std::fputs("\n", rl_outstream);
    std::fflush(rl_outstream);
}

// Where it takes pasted text as a whole, readline ends the row itself.
bool endsRowAtEndOfInput() {
    const auto* const pastes = rl_variable_value("enable-bracketed-paste");
    return pastes != nullptr && std::strcmp(pastes, "on") == 0;
}

bool beginsWord(const char* line, int point) {
    return point == 0 || blanks.find(line[point - 1]) != std::string_view::npos;
}

}  // namespace

LineEditor* LineEditor::current_ = nullptr;

LineEditor::LineEditor(const std::string& name, Helpers helpers, const Interrupts& interrupts)
    : name_(name), prompt_(name + "> "), helpers_(std::move(helpers)), interrupts_(interrupts) {
    current_ = this;
    rl_readline_name = name_.c_str();
    // A session whose output goes to a file shows its prompt all the same.
    rl_outstream = isatty(STDOUT_FILENO) != 0 ? stdout : stderr;
    rl_basic_word_break_characters = " \t\n";
    rl_getc_function = readKey;
    rl_attempted_completion_function = completeWord;
    // Between keys, readline looks after the signals that would leave the terminal in its hands.
    rl_persistent_signal_handlers = 1;
    rl_add_defun("explain", explainHere, -1);
    rl_bind_key_in_map('?', explainHere, emacs_standard_keymap);
    rl_bind_key_in_map('?', explainHere, vi_insertion_keymap);
}

LineEditor::~LineEditor() {
    current_ = nullptr;
}

std::optional<std::string> LineEditor::read() {
    done_ = false;
    showedCtrlC_ = false;
    line_.reset();
    rl_callback_handler_install(prompt_.c_str(), takeLine);
    // Readline would throw away what it is in the middle of, and then go on with it.
    interrupts_.watch();
    while (!done_ && !interrupts_.pending()) {
        rl_callback_read_char();
    }
    if (interrupts_.take()) {
        drop();
    }
    return std::exchange(line_, std::nullopt);
}

// Readline may have ended the line already.
void LineEditor::drop() {
    if (!done_) {
        showCtrlC();
        rl_callback_sigcleanup();
        rl_free_line_state();
        rl_eof_found = 0;
        rl_callback_handler_remove();
        endRow();
    }
    line_.emplace();
}

// Readline asks for a key wherever it is in the middle of something. Ctrl-C ends that as the end of
// input would.
int LineEditor::readKey(std::FILE* /*terminal*/) {
    for (;;) {
        current_->refresh();
        std::array<pollfd, 2> events{
            {{STDIN_FILENO, POLLIN, 0}, {current_->interrupts_.fd(), POLLIN, 0}}};
        const int ready = poll(events.data(), events.size(), -1);
        if (ready < 0 && errno != EINTR) {
            return EOF;
        }
        if (ready < 0) {
            rl_check_signals();
            current_->interrupts_.watch();
        } else if (events[1].revents != 0) {
            current_->showCtrlC();
            return EOF;
        } else {
            unsigned char key = 0;
            return ::read(STDIN_FILENO, &key, 1) == 1 ? key : EOF;
        }
    }
}

// Once the process has been stopped and gone on, whoever had the terminal meanwhile has written to
// it, and readline has taken the signals to itself again.
void LineEditor::refresh() const {
    if (Interrupts::takeContinuation()) {
        interrupts_.watch();
        rl_forced_update_display();
    }
}

void LineEditor::showCtrlC() {
    if (!std::exchange(showedCtrlC_, true)) {
        rl_echo_signal_char(SIGINT);
    }
}

void LineEditor::takeLine(char* line) {
    rl_callback_handler_remove();
    current_->done_ = true;
    if (line != nullptr) {
        current_->line_ = line;
        std::free(line);
    } else if (!endsRowAtEndOfInput()) {
        endRow();
    }
}

char** LineEditor::completeWord(const char* /*word*/, int /*begin*/, int end) {
    // No file names where nothing fits.
    rl_attempted_completion_over = 1;
    return matchesOf(current_->helpers_.complete({rl_line_buffer, static_cast<std::size_t>(end)}));
}

int LineEditor::explainHere(int count, int key) {
    if (!beginsWord(rl_line_buffer, rl_point)) {
        return rl_insert(count, key);
    }
    const auto text =
        current_->helpers_.explain({rl_line_buffer, static_cast<std::size_t>(rl_point)});
    // The text goes below the whole line, which is then shown anew.
    const int point = std::exchange(rl_point, rl_end);
    rl_redisplay();
    std::fputs(("\n" + text).c_str(), rl_outstream);
    rl_point = point;
    rl_on_new_line();
    return 0;
}

}  // namespace Dch
