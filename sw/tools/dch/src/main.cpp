// Types a command to the collector: dch, rodc or whatever name this program is called by.
#include <sysexits.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "commandTable.hpp"
#include "tessel/commandClient.hpp"

namespace {

using Tessel::CommandClient::AnswerCutShort;
using Tessel::CommandClient::Unreachable;

// A reader of our output that has gone needs no message.
struct OutputLost {};

void writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto written = write(fd, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            throw OutputLost{};
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::system_category(), "cannot write the output");
        }
    }
}

void writeError(std::string_view bytes) {
    writeAll(STDERR_FILENO, bytes);
}

// A shell keeps eight bits: a status that has none of them set must not pass for success.
int shellStatus(int status) {
    constexpr int highest = 255;
    return status < 0 || status > highest ? highest : status;
}

int typeCommand(const std::vector<std::string>& words) {
    const auto output = [](std::string_view bytes) { writeAll(STDOUT_FILENO, bytes); };
    return shellStatus(Tessel::CommandClient::run(words, {output, writeError}));
}

void writeUsage(const std::string& name) {
    writeAll(STDOUT_FILENO, "usage: " + name + " SUBCOMMAND [WORD]...\n       " + name +
                                " --help | --version\n\n"
                                "Types a command to the collector at "
                                "$UNIT_ROOT/run/tessel/command.sock,\nprints what it says and "
                                "exits with its status; 69 if there is no collector.\n");
}

// The subcommands are the collector's to tell.
int writeHelp(const std::string& name) {
    writeUsage(name);
    std::string rows;
    const auto collect = [&rows](std::string_view bytes) { rows += bytes; };
    const int status = Tessel::CommandClient::table(name, {collect, writeError});
    if (status == 0) {
        writeAll(STDOUT_FILENO, "\nSubcommands:\n" + Dch::layOutTable(rows));
    }
    return shellStatus(status);
}

int act(const std::vector<std::string>& words) {
    if (words.size() == 1) {
        return writeHelp(words.front());
    }
    if (words.size() == 2 && words[1] == "--version") {
        writeAll(STDOUT_FILENO, words.front() + " " QDX_VERSION "\n");
        return EX_OK;
    }
    if (words.size() == 2 && (words[1] == "--help" || words[1] == "-h")) {
        return writeHelp(words.front());
    }
    return typeCommand(words);
}

int report(const std::string& name, const std::exception& error, int status) {
    std::cerr << name << ": " << error.what() << '\n';
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> words(argv, argv + argc);
    if (words.empty()) {
        return EX_USAGE;
    }
    words.front() = std::filesystem::path(words.front()).filename();
    try {
        return act(words);
    } catch (const Unreachable& error) {
        return report(words.front(), error, EX_UNAVAILABLE);
    } catch (const AnswerCutShort& error) {
        return report(words.front(), error, EX_SOFTWARE);
    } catch (const std::exception& error) {
        return report(words.front(), error, EX_IOERR);
    } catch (const OutputLost&) {
        return EX_IOERR;
    }
}
