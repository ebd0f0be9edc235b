// What a user does to the program besides typing: Ctrl-C, and going on after Ctrl-Z.
#pragma once

namespace Dch {

// While it lives, SIGINT doesn't end the process but makes the descriptor readable, until it is
// taken. One at a time in a process. Throws std::system_error.
class Interrupts {
public:
    Interrupts();
    ~Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;

    int fd() const { return fd_; }
    // Takes SIGINT back from one who has put a handler of its own in place.
    void watch() const;
    bool pending() const;
    // Whether the process was stopped and has gone on since the last call.
    static bool takeContinuation();
    // Whether one was pending; none is any more.
    bool take() const;

private:
    const int fd_;
};

}  // namespace Dch
