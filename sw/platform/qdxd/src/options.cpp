#include "options.hpp"

#include <CLI/CLI.hpp>

#include "commandLine/commandLine.hpp"
#include "participantLibrary.hpp"

namespace Qdxd {

namespace {

constexpr const char* environment =
    "Environment, of which qdxd(8) tells more:\n"
    "  UNIT_ROOT     stands in front of the paths of the configuration\n"
    "                (opt/zelvasw/srv/database/qdx/swdb.cfg), the mailboxes (run/ozo)\n"
    "                and the command socket (run/tessel/command.sock)\n"
    "  OZO_MAX_SIZE  largest message in bytes, 1024 to 131072; 65536 if not set";

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus) {
    Options options;
    CLI::App app("Runs the collector until SIGTERM or SIGINT and serves its commands.", "qdxd");
    app.footer(environment);
    Qdx::CommandLine::prepare(app);
    app.add_option("--library", options.libraries,
                   "Library to load instead of libqdxbe.so; may be repeated")
        ->type_name("PATH")
        ->allow_extra_args(false);
    app.add_option("--record", options.recording,
                   "Record all messages and commands there, for qdx-replay")
        ->type_name("FILE");
    if (const auto end = Qdx::CommandLine::parse(app, argc, argv)) {
        exitStatus = *end;
        return std::nullopt;
    }
    if (options.libraries.empty()) {
        options.libraries.push_back(findCollectorLibrary());
    }
    return options;
}

}  // namespace Qdxd
