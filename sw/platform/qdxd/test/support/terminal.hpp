// A program at a terminal that a test types at.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace TestSupport {

// Killed with this object if it still runs. What the terminal shows is read, escape sequences and
// all, whenever something is awaited.
class Terminal {
public:
    explicit Terminal(std::vector<std::string> words,
                      const std::map<std::string, std::string>& environment = {}) {
        constexpr winsize size{24, 200, 0, 0};
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (auto& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        id_ = forkpty(&fd_, nullptr, nullptr, &size);
        if (id_ < 0) {
            throw std::runtime_error("no terminal");
        }
        if (id_ == 0) {
            setenv("TERM", "xterm", 1);
            setenv("INPUTRC", "/dev/null", 1);
            for (const auto& [name, value] : environment) {
                setenv(name.c_str(), value.c_str(), 1);
            }
            execv(arguments.front(), arguments.data());
            _exit(127);
        }
    }
    ~Terminal() {
        close(fd_);
        if (!exited_) {
            kill(id_, SIGKILL);
            waitpid(id_, nullptr, 0);
        }
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void type(const std::string& keys) {
        if (write(fd_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
            throw std::runtime_error("the terminal takes no keys");
        }
    }

    // Waits until the text shows behind all that was awaited before, and gives what stands between.
    std::string await(const std::string& text) {
        for (;;) {
            const auto found = shown_.find(text, seen_);
            if (found != std::string::npos) {
                auto between = shown_.substr(seen_, found - seen_);
                seen_ = found + text.size();
                return between;
            }
            if (!readSome()) {
                throw std::runtime_error("'" + text + "' does not show: " + shown_);
            }
        }
    }

    void signal(int number) const { kill(id_, number); }

    // Whether the terminal waits for whole lines, as it does for programs that don't edit them.
    bool takesWholeLines() const {
        termios settings{};
        tcgetattr(fd_, &settings);
        return (settings.c_lflag & ICANON) != 0;
    }

    const std::string& shown() const { return shown_; }

    // The exit status, or 128 and the number of the signal that ended the program.
    int awaitExit() {
        while (readSome()) {
        }
        int status = 0;
        waitpid(id_, &status, 0);
        exited_ = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    // False when nobody writes to the terminal any more.
    bool readSome() {
        constexpr int patience = 20'000;
        pollfd event{fd_, POLLIN, 0};
        if (poll(&event, 1, patience) != 1) {
            throw std::runtime_error("nothing more shows: " + shown_);
        }
        std::array<char, 65536> piece{};
        const auto size = read(fd_, piece.data(), piece.size());
        if (size > 0) {
            shown_.append(piece.data(), static_cast<std::size_t>(size));
        }
        return size > 0;
    }

    int fd_ = -1;
    pid_t id_ = -1;
    bool exited_ = false;
    std::string shown_;
    std::size_t seen_ = 0;
};

}  // namespace TestSupport
