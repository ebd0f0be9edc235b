#include "hostfeProcess.hpp"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <stdexcept>

namespace HostFe {
namespace {

constexpr std::chrono::seconds patience{20};

}  // namespace

HostfeProcess::HostfeProcess(const std::vector<std::string>& arguments) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    std::string program = HOSTFE_PROGRAM;
    std::vector<std::string> words = arguments;
    std::vector<char*> argv{program.data()};
    argv.reserve(words.size() + 2);
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    const int error = ::posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    stream = ends[0];
    if (error != 0) {
        ::close(stream);
        throw std::runtime_error("cannot start " + program);
    }
}

HostfeProcess::~HostfeProcess() {
    if (pid != 0) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
    ::close(stream);
}

bool HostfeProcess::says(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (written.find(text) == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !readMore(static_cast<int>(left.count()))) {
            return false;
        }
    }
    return true;
}

void HostfeProcess::signal(int number) const {
    ::kill(pid, number);
}

int HostfeProcess::exitStatus() {
    while (readMore(static_cast<int>(std::chrono::milliseconds(patience).count()))) {
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    pid = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// False at the end of what it writes, or when nothing came in time.
bool HostfeProcess::readMore(int timeoutMs) {
    pollfd event{stream, POLLIN, 0};
    if (::poll(&event, 1, timeoutMs) <= 0) {
        return false;
    }
    std::array<char, 1024> chunk{};
    const ssize_t size = ::read(stream, chunk.data(), chunk.size());
    if (size <= 0) {
        return false;
    }
    written.append(chunk.data(), static_cast<std::size_t>(size));
    return true;
}

}  // namespace HostFe
