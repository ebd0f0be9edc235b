#include "terminal.hpp"

#include <curses.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <optional>

namespace Qdxview {

namespace {

// After an Escape that begins no key.
constexpr int escapeMilliseconds = 25;

// Pairs of colours.
constexpr short usual = 0;
constexpr short alert = 1;
constexpr short plot = 2;

bool startColours(bool wanted) {
    if (!wanted || !has_colors() || start_color() == ERR || use_default_colors() == ERR) {
        return false;
    }
    init_pair(alert, COLOR_RED, -1);
    init_pair(plot, COLOR_CYAN, -1);
    return true;
}

attr_t attributesOf(Style style) {
    switch (style) {
        case Style::Heading:
        case Style::Alert:
            return A_BOLD;
        case Style::Selected:
            return A_REVERSE;
        case Style::Faint:
            return A_DIM;
        case Style::Plain:
        case Style::Plot:
            break;
    }
    return A_NORMAL;
}

short pairOf(Style style) {
    switch (style) {
        case Style::Alert:
            return alert;
        case Style::Plot:
            return plot;
        default:
            return usual;
    }
}

std::optional<Keystroke> functionKey(wint_t code) {
    switch (code) {
        case KEY_UP:
            return Keystroke{Key::Up};
        case KEY_DOWN:
            return Keystroke{Key::Down};
        case KEY_LEFT:
        case KEY_PPAGE:
            return Keystroke{Key::PageUp};
        case KEY_RIGHT:
        case KEY_NPAGE:
            return Keystroke{Key::PageDown};
        case KEY_HOME:
            return Keystroke{Key::Home};
        case KEY_END:
            return Keystroke{Key::End};
        case KEY_ENTER:
            return Keystroke{Key::Enter};
        case KEY_BACKSPACE:
            return Keystroke{Key::Backspace};
        default:
            return std::nullopt;
    }
}

std::optional<Keystroke> character(wint_t code) {
    constexpr wint_t escape = 0x1B;
    constexpr wint_t deletion = 0x7F;
    constexpr wint_t firstPrintable = 0x20;
    constexpr wint_t endOfControls = 0xA0;
    if (code == L'\r' || code == L'\n') {
        return Keystroke{Key::Enter};
    }
    if (code == escape) {
        return Keystroke{Key::Escape};
    }
    if (code == L'\b' || code == deletion) {
        return Keystroke{Key::Backspace};
    }
    if (code < firstPrintable || (code > deletion && code < endOfControls)) {
        return std::nullopt;
    }
    std::array<char, MB_LEN_MAX> bytes{};
    std::mbstate_t state{};
    const auto size = std::wcrtomb(bytes.data(), static_cast<wchar_t>(code), &state);
    return size > bytes.size()
               ? std::nullopt
               : std::optional(Keystroke{Key::Text, std::string(bytes.data(), size)});
}

const char* terminalName() {
    const char* const name = std::getenv("TERM");
    return name != nullptr && *name != '\0' ? name : "unknown";
}

// What has no way to place the cursor would be given a screen without its line ends.
bool placesTheCursor() {
    const auto sequence = reinterpret_cast<std::intptr_t>(tigetstr("cup"));
    return sequence != 0 && sequence != -1;
}

void takeTerminal() {
    SCREEN* const screen = newterm(nullptr, stdout, stdin);
    if (screen != nullptr && placesTheCursor()) {
        return;
    }
    if (screen != nullptr) {
        reset_shell_mode();
        delscreen(screen);
    }
    throw NoTerminal(std::string("no live view on a terminal of type ")
                         .append(terminalName())
                         .append("; set TERM, or give --once"));
}

}  // namespace

Terminal::Terminal(bool colours)
    : colourful([colours] {
          takeTerminal();
          return startColours(colours);
      }()) {
    cbreak();
    noecho();
    nonl();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    set_escdelay(escapeMilliseconds);
    curs_set(0);
}

Terminal::~Terminal() {
    giveBack();
}

void Terminal::giveBack() {
    endwin();
}

// The size may have changed while nobody was told: while the process was stopped.
Size Terminal::size() {
    winsize now{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &now) == 0 && now.ws_row > 0 && now.ws_col > 0 &&
        is_term_resized(now.ws_row, now.ws_col)) {
        resizeterm(now.ws_row, now.ws_col);
    }
    return {static_cast<std::size_t>(LINES), static_cast<std::size_t>(COLS)};
}

void Terminal::show(const Screen& screen) {
    erase();
    for (std::size_t row = 0; row < screen.size(); ++row) {
        if (move(static_cast<int>(row), 0) != ERR) {
            write(screen[row]);
        }
    }
    refresh();
}

void Terminal::write(const Line& line) const {
    for (const auto& span : line) {
        attr_set(attributesOf(span.style), colourful ? pairOf(span.style) : usual, nullptr);
        addstr(span.text.c_str());
    }
    attr_set(A_NORMAL, usual, nullptr);
}

bool Terminal::await(int fd, std::chrono::milliseconds most) const {
    std::array<pollfd, 2> events{{{STDIN_FILENO, POLLIN, 0}, {fd, POLLIN, 0}}};
    poll(events.data(), events.size(), static_cast<int>(most.count()));
    return (events[0].revents & (POLLHUP | POLLERR | POLLNVAL)) == 0;
}

std::vector<Keystroke> Terminal::keys() {
    std::vector<Keystroke> pressed;
    wint_t code = 0;
    for (int kind = get_wch(&code); kind != ERR; kind = get_wch(&code)) {
        const auto key = kind == KEY_CODE_YES ? functionKey(code) : character(code);
        if (key) {
            pressed.push_back(*key);
        }
    }
    return pressed;
}

}  // namespace Qdxview
