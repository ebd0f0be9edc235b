// The terminal as a screen and a keyboard.
#pragma once

#include <chrono>
#include <stdexcept>
#include <vector>

#include "screen.hpp"
#include "view.hpp"

namespace Qdxview {

// The user's terminal can't show a screen; one line says why.
class NoTerminal : public std::runtime_error {
    using runtime_error::runtime_error;
};

// While it lives, standard input and output are a screen of their own beside the one that the shell
// wrote on, and keys come one by one. One at a time in a process, on one thread, in the locale that
// the process has set. Signals that end or stop the process are its owner's to handle, from before
// it is made.
class Terminal {
public:
    // Throws NoTerminal.
    explicit Terminal(bool colours);
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    // At the moment.
    Size size();

    // Writes what differs from what is on the screen. After giveBack() it takes the terminal again.
    void show(const Screen& screen);

    // The shell's screen and keyboard are as they were before.
    static void giveBack();

    // Waits until there are keys, or the descriptor is readable, or a signal or the time has come.
    // False if the terminal is gone.
    bool await(int fd, std::chrono::milliseconds most) const;

    // Those that were pressed since the last call and that mean something.
    std::vector<Keystroke> keys();

private:
    void write(const Line& line) const;

    const bool colourful;
};

}  // namespace Qdxview
