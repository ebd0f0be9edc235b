// Types commands to the collector: dch, rodc or whatever name this program is called by.
#include <sysexits.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <new>
#include <string>

#include "collector.hpp"
#include "conversation.hpp"
#include "options.hpp"
#include "output.hpp"
#include "script.hpp"
#include "session.hpp"
#include "tessel/util.hpp"

namespace {

using Dch::Options;
using Dch::Words;
using Tessel::CommandClient::AnswerCutShort;
using Tessel::CommandClient::Unreachable;

int typeCommand(const Words& words) {
    return Dch::shellStatus(Dch::Collector().run(words, {Dch::writeOutput, Dch::writeError}));
}

void writeUsage(const std::string& name) {
    Dch::writeOutput(
        "usage: " + name + " SUBCOMMAND [WORD]...\n       " + name +
        " --interactive [--keep-going]\n       " + name +
        " --help | --version\n"
        "Types a command to the collector, and exits with its status; see dch(1).\n"
        "  -i, --interactive  Type commands line by line, or take them from a pipe\n"
        "  -k, --keep-going   With -i from a pipe: go on after a line that failed\n"
        "      --complete     Print what the last of the words that follow can become\n"
        "  -h, --help         Print this, and the subcommands that the collector has\n"
        "      --version      Print the version\n");
}

// The rows of the collector's table, and why there are none if it tells none.
struct Subcommands {
    std::string rows;
    std::string complaint;
};

Subcommands askForSubcommands(const std::string& name) {
    const auto into = [](std::string& text) {
        return [&text](std::string_view bytes) { text += bytes; };
    };
    Subcommands answer;
    try {
        Tessel::CommandClient::table(name, {into(answer.rows), into(answer.complaint)});
    } catch (const Unreachable& error) {
        answer.complaint = error.what();
    } catch (const AnswerCutShort& error) {
        answer.complaint = error.what();
    }
    return answer;
}

// The usage is ours to tell, so that help succeeds without a collector, too.
int writeHelp(const std::string& name) {
    writeUsage(name);
    const auto answer = askForSubcommands(name);
    if (answer.complaint.empty()) {
        Dch::writeOutput("\nSubcommands:\n" + Dch::layOutSyntax(Dch::parseTable(answer.rows)));
    } else {
        Dch::writeError(name + ": the subcommands are the collector's to tell: " +
                        Tessel::Util::trim(answer.complaint) + '\n');
    }
    return EX_OK;
}

// In silence and without delay, whatever goes wrong: it is called while somebody types.
int writeCompletions(const Words& words) {
    constexpr auto patience = std::chrono::seconds(1);
    try {
        const bool option = words.size() == 2 && words.back().starts_with('-');
        for (const auto& candidate : option ? Dch::completeOption(words.back())
                                            : Dch::Collector({patience}).complete(words)) {
            Dch::writeOutput(candidate + '\n');
        }
    } catch (const std::exception&) {
    }
    return EX_OK;
}

int runSession(const std::string& name, bool keepGoing) {
    if (isatty(STDIN_FILENO) != 0) {
        Dch::converse(name);
        return EX_OK;
    }
    Dch::LineReader lines(STDIN_FILENO);
    Dch::Session session(name);
    return Dch::runScript(lines, session, keepGoing ? Dch::OnFailure::GoOn : Dch::OnFailure::Stop);
}

int act(const Options& options) {
    const auto& name = options.words.front();
    switch (options.mode) {
        case Options::Mode::Help:
            return writeHelp(name);
        case Options::Mode::Version:
            Dch::writeOutput(name + " " QDX_VERSION "\n");
            return EX_OK;
        case Options::Mode::Complete:
            return writeCompletions(options.words);
        case Options::Mode::Session:
            return runSession(name, options.keepGoing);
        case Options::Mode::Type:
            break;
    }
    return typeCommand(options.words);
}

int report(const std::string& name, const char* what, int status) {
    std::cerr << name << ": " << what << '\n';
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    Words words(argv, argv + argc);
    if (words.empty()) {
        return EX_USAGE;
    }
    words.front() = std::filesystem::path(words.front()).filename();
    try {
        return act(Dch::parseOptions(words));
    } catch (const Dch::WrongUsage& error) {
        return report(words.front(), error.what(), EX_USAGE);
    } catch (const Unreachable& error) {
        return report(words.front(), error.what(), EX_UNAVAILABLE);
    } catch (const AnswerCutShort& error) {
        return report(words.front(), error.what(), EX_SOFTWARE);
    } catch (const std::bad_alloc&) {
        return report(words.front(), "not enough memory", EX_OSERR);
    } catch (const std::exception& error) {
        return report(words.front(), error.what(), EX_IOERR);
    } catch (const Dch::OutputLost&) {
        return EX_IOERR;
    }
}
