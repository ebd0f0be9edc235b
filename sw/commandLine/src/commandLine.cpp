#include "commandLine/commandLine.hpp"

#include <sysexits.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "screenFormatter.hpp"

namespace Qdx::CommandLine {

namespace {

// A word that nobody knows is told before one that is missing: it may be that one with a slip.
std::string faultOf(const CLI::App& app, const CLI::ParseError& end) {
    const auto unknown = app.remaining(true);
    const bool isMissing = end.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    return isMissing && !unknown.empty() ? CLI::ExtrasError(unknown).what() : end.what();
}

// The words end the parsing when they ask for help or the version, too.
int finish(const CLI::App& app, const CLI::ParseError& end) {
    if (end.get_exit_code() != 0) {
        return refuse(app, faultOf(app, end));
    }
    app.exit(end);
    if (std::cout.flush()) {
        return EX_OK;
    }
    std::cerr << app.get_name() << ": cannot write the output\n";
    return EX_IOERR;
}

}  // namespace

void prepare(CLI::App& app) {
    app.formatter(std::make_shared<ScreenFormatter>());
    app.set_help_flag("-h,--help", "Print this");
    app.set_version_flag("--version", app.get_name() + " " QDX_VERSION, "Print the version");
}

std::optional<int> parse(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return finish(app, end);
    }
    return std::nullopt;
}

int refuse(const CLI::App& app, const std::string& fault) {
    const auto& name = app.get_name();
    std::cerr << name + ": " + fault + "; see " + name + " --help\n";
    return EX_USAGE;
}

}  // namespace Qdx::CommandLine
