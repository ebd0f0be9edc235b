// A program that a test runs.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <exception>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/sanitizerReports.hpp"

namespace TestSupport {

// Reads what the program writes whenever something is awaited. Killed with this object if it still
// runs. What a sanitizer finds in it fails the test.
class Process {
public:
    // Where standard input comes from: the test's own, or a pipe that stays open and empty.
    enum class Input { Inherited, Pipe };

    explicit Process(std::vector<std::string> words,
                     const std::map<std::string, std::string>& environment = {},
                     Input input = Input::Inherited) {
        std::array<int, 2> inputPipe{-1, -1};
        std::array<int, 2> output{};
        std::array<int, 2> error{};
        if (pipe2(output.data(), O_CLOEXEC) != 0 || pipe2(error.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipes");
        }
        if (input == Input::Pipe && pipe2(inputPipe.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        if (input == Input::Pipe) {
            posix_spawn_file_actions_adddup2(&actions, inputPipe[0], STDIN_FILENO);
        }
        posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, error[1], STDERR_FILENO);
        auto arguments = pointersTo(words);
        auto added = reports_.environment();
        added.insert(environment.begin(), environment.end());
        auto variables = mergedEnvironment(std::move(added));
        auto variablePointers = pointersTo(variables);
        const int result = posix_spawn(&id_, words.front().c_str(), &actions, nullptr,
                                       arguments.data(), variablePointers.data());
        posix_spawn_file_actions_destroy(&actions);
        close(output[1]);
        close(error[1]);
        if (input == Input::Pipe) {
            close(inputPipe[0]);
            input_ = inputPipe[1];
        }
        streams_[0].fd = output[0];
        streams_[1].fd = error[0];
        if (result != 0) {
            throw std::runtime_error("cannot run " + words.front());
        }
    }
    ~Process() {
        closeInput();
        for (auto& stream : streams_) {
            shut(stream);
        }
        if (!exited_) {
            kill(id_, SIGKILL);
            waitpid(id_, nullptr, 0);
        }
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t id() const { return id_; }
    bool hasEnded() const { return exited_; }
    void signal(int number) const { kill(id_, number); }

    const std::string& output() const { return streams_[0].text; }
    const std::string& error() const { return streams_[1].text; }

    void awaitOutput(const std::string& text) {
        readUntil([&] { return output().find(text) != std::string::npos; });
    }
    void awaitError(const std::string& text) {
        readUntil([&] { return error().find(text) != std::string::npos; });
    }
    void closeInput() {
        if (input_ >= 0) {
            close(input_);
        }
        input_ = -1;
    }
    void closeOutput() { shut(streams_[0]); }

    // The exit status, or 128 and the number of the signal that ended the program.
    int awaitExit() {
        readUntil([this] { return streams_[0].fd < 0 && streams_[1].fd < 0; });
        int status = 0;
        waitpid(id_, &status, 0);
        exited_ = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    struct Stream {
        int fd = -1;
        std::string text;
    };

    static std::vector<char*> pointersTo(std::vector<std::string>& texts) {
        std::vector<char*> pointers;
        pointers.reserve(texts.size() + 1);
        for (auto& text : texts) {
            pointers.push_back(text.data());
        }
        pointers.push_back(nullptr);
        return pointers;
    }

    static std::vector<std::string> mergedEnvironment(std::map<std::string, std::string> added) {
        for (char** variable = environ; *variable != nullptr; ++variable) {
            const std::string text = *variable;
            const auto equals = text.find('=');
            added.emplace(text.substr(0, equals), text.substr(equals + 1));
        }
        std::vector<std::string> variables;
        variables.reserve(added.size());
        for (const auto& [name, value] : added) {
            variables.push_back(std::string(name).append("=").append(value));
        }
        return variables;
    }

    static void shut(Stream& stream) {
        if (stream.fd >= 0) {
            close(stream.fd);
        }
        stream.fd = -1;
    }

    void readUntil(const std::function<bool()>& reached) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(90);
        while (!reached()) {
            std::array<pollfd, 2> events{
                {{streams_[0].fd, POLLIN, 0}, {streams_[1].fd, POLLIN, 0}}};
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                end - std::chrono::steady_clock::now());
            const bool open = streams_[0].fd >= 0 || streams_[1].fd >= 0;
            if (!open || left.count() <= 0 ||
                poll(events.data(), events.size(), static_cast<int>(left.count())) <= 0) {
                throw std::runtime_error("the program did not say it: " + output() + error());
            }
            for (std::size_t i = 0; i < events.size(); ++i) {
                if (events[i].revents != 0) {
                    readSome(streams_[i]);
                }
            }
        }
    }

    static void readSome(Stream& stream) {
        std::array<char, 65536> piece{};
        const auto size = read(stream.fd, piece.data(), piece.size());
        if (size > 0) {
            stream.text.append(piece.data(), static_cast<std::size_t>(size));
        } else {
            shut(stream);
        }
    }

    const SanitizerReports reports_;
    pid_t id_ = -1;
    bool exited_ = false;
    int input_ = -1;
    std::array<Stream, 2> streams_;
};

// Stops a program that serves until SIGTERM, unless its end was awaited. It must end well, which is
// also when a sanitizer looks for leaks; or the test has killed it.
inline void expectGoodEnd(Process& process) noexcept {
    if (process.hasEnded()) {
        return;
    }
    try {
        // In this order: a late SIGCONT would wake what the leak sanitizer stops to look at.
        process.signal(SIGCONT);
        process.signal(SIGTERM);
        EXPECT_THAT(process.awaitExit(), testing::AnyOf(0, 128 + SIGKILL)) << process.error();
    } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
    }
}

}  // namespace TestSupport
