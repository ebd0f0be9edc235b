#include "options.hpp"

#include <CLI/CLI.hpp>

#include "commandLine/commandLine.hpp"

namespace Replay {

namespace {

constexpr const char* footer =
    "Recordings are made by qdxd --record. Each line of output begins with the number\n"
    "of its event: a command with what it wrote and its status, a message that the\n"
    "collector sent, an error that it traced. See qdx-replay(1).";

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus) {
    Options options;
    CLI::App app("Gives a collector all that reached another one, at the same times.",
                 "qdx-replay");
    app.footer(footer);
    Qdx::CommandLine::prepare(app);
    app.add_option("FILE", options.recording, "The recording; - for standard input")
        ->required()
        ->type_name("");
    auto* list = app.add_flag("--list", options.list, "Only show the events, one a line");
    app.add_option("--until", options.until, "Stop after the event of this number")->type_name("N");
    app.add_option("--expect", options.expected,
                   "Compare the output with this file instead of writing it")
        ->type_name("FILE")
        ->excludes(list);
    if (const auto end = Qdx::CommandLine::parse(app, argc, argv)) {
        exitStatus = *end;
        return std::nullopt;
    }
    return options;
}

}  // namespace Replay
