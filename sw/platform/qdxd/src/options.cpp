#include "options.hpp"

#include <sysexits.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "participantLibrary.hpp"

namespace Qdxd {

namespace {

constexpr const char* environment =
    "Environment:\n"
    "  UNIT_ROOT   stands in front of all paths: the database "
    "(opt/zelvasw/srv/database/qdx/swdb.cfg),\n"
    "              the mailboxes (run/ozo) and the command socket (run/tessel/command.sock)\n"
    "  OZO_MAX_SIZE   largest message in bytes, 1024 to 131072";

// Asking for help or version ends the parsing too.
int report(const CLI::App& app, const CLI::ParseError& end) {
    if (end.get_exit_code() == 0) {
        return app.exit(end);
    }
    std::cerr << "qdxd: " << end.what() << "; see qdxd --help\n";
    return EX_USAGE;
}

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus) {
    Options options;
    CLI::App app("Runs the collector until SIGTERM or SIGINT and serves its commands.", "qdxd");
    app.footer(environment);
    app.set_version_flag("--version", "qdxd " QDX_VERSION);
    app.add_option("--library", options.libraries,
                   "Shared library to load, instead of libqdxbe.so; may be given several times")
        ->type_name("PATH")
        ->allow_extra_args(false);
    app.add_option("--record", options.recording,
                   "Record all messages and commands there, for qdx-replay")
        ->type_name("FILE");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        exitStatus = report(app, end);
        return std::nullopt;
    }
    if (options.libraries.empty()) {
        options.libraries.push_back(findCollectorLibrary());
    }
    return options;
}

}  // namespace Qdxd
