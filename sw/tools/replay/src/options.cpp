#include "options.hpp"

#include <sysexits.h>

#include <CLI/CLI.hpp>
#include <iostream>

namespace Replay {

namespace {

constexpr const char* footer =
    "Recordings are made by qdxd --record. Each line of output begins with the number\n"
    "of its event: a command with what it wrote and its status, a message that the\n"
    "collector sent, an error that it traced.\n\n"
    "Exit status: 0; 1 the output is not what was expected; 64 wrong usage; 65 no\n"
    "recording; 66 no such file; 70 something unforeseen; 74 output lost.";

int report(const CLI::App& app, const CLI::ParseError& end) {
    if (end.get_exit_code() == 0) {
        return app.exit(end);
    }
    std::cerr << "qdx-replay: " << end.what() << "; see qdx-replay --help\n";
    return EX_USAGE;
}

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus) {
    Options options;
    CLI::App app("Gives a collector all that reached another one, at the same times.",
                 "qdx-replay");
    app.footer(footer);
    app.set_version_flag("--version", "qdx-replay " QDX_VERSION);
    app.add_option("FILE", options.recording, "The recording; - for standard input")
        ->required()
        ->type_name("");
    auto* list = app.add_flag("--list", options.list, "Only show the events, one a line");
    app.add_option("--until", options.until, "Stop after the event of this number")->type_name("N");
    app.add_option("--expect", options.expected,
                   "Compare the output with this file instead of writing it")
        ->type_name("FILE")
        ->excludes(list);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        exitStatus = report(app, end);
        return std::nullopt;
    }
    return options;
}

}  // namespace Replay
