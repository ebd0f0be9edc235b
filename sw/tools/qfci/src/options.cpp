#include "options.hpp"

#include <sysexits.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "commandLine/choice.hpp"
#include "commandLine/commandLine.hpp"

namespace Qfci {

namespace {

using Qdx::Pull::Format;

constexpr const char* footer =
    "Examples:\n"
    "  qfci pull 11 --output pull.bin\n"
    "  qfci pull 11 --format csv --catalogue infoObjectList.xml >pull.csv";

// Written so that "nan" is outside.
CLI::Validator seconds(double low, double high) {
    const auto toText = [](double value) { return CLI::detail::to_string(value); };
    const std::string range = toText(low) + " to " + toText(high);
    return {[low, high, range](std::string& text) {
                double value = 0;
                const bool good =
                    CLI::detail::lexical_cast(text, value) && value >= low && value <= high;
                return good ? std::string() : text + " is not a number of seconds from " + range;
            },
            ""};
}

void addPull(CLI::App& app, Options& options) {
    auto* pull = app.add_subcommand("pull", "Fetch what a filter holds");
    pull->add_option("FILTER", options.filter, "Its name or its number")->type_name("")->required();
    pull->add_flag("--clear", options.clear, "Have the filter drop what it gives");
    pull->add_option("--output", options.output, "File to write, instead of standard output")
        ->type_name("FILE");
    pull->add_option("--format", options.format,
                     "raw, json, csv, text or table; if not given, table for a terminal, else raw")
        ->type_name("FORMAT")
        ->transform(Qdx::CommandLine::oneOf(Qdx::Pull::formats()));
    pull->add_option("--catalogue", options.catalogue,
                     "Info object list to take names and units from")
        ->type_name("FILE");
}

void addOthers(CLI::App& app, Options& options) {
    auto* connect = app.add_subcommand("connect", "Take a connection and print its reference");
    connect->add_flag("--hold", options.hold, "Keep it until standard input ends, or a signal");
    app.add_subcommand("ping", "Print how long the collector takes to answer");
}

// False if the words contradict each other.
bool settleFormat(Options& options, const CLI::App& app) {
    const bool toTerminal = options.output == "-" && isatty(STDOUT_FILENO) != 0;
    if (app.get_subcommand("pull")->count("--format") == 0 && toTerminal) {
        options.format = Format::Table;
    }
    if (options.format != Format::Raw || !toTerminal) {
        return true;
    }
    std::cerr << "qfci: raw bytes are not for a terminal; redirect them or give --output FILE\n";
    return false;
}

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus) {
    Options options;
    double timeout = 10;
    CLI::App app("Talks to the collector as a control client.", "qfci");
    Qdx::CommandLine::prepare(app);
    app.footer(footer);
    app.add_option("--timeout", timeout, "Longest wait for an answer; 10 if not given")
        ->type_name("SECONDS")
        ->check(seconds(0.001, 86'400));
    app.require_subcommand(1);
    app.fallthrough();
    addPull(app, options);
    addOthers(app, options);
    if (const auto end = Qdx::CommandLine::parse(app, argc, argv)) {
        exitStatus = *end;
        return std::nullopt;
    }
    options.answerTime =
        std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(timeout));
    if (app.got_subcommand("ping")) {
        options.command = Command::Ping;
    } else if (app.got_subcommand("connect")) {
        options.command = Command::Connect;
    } else {
        options.command = Command::Pull;
        if (!settleFormat(options, app)) {
            exitStatus = EX_USAGE;
            return std::nullopt;
        }
    }
    return options;
}

}  // namespace Qfci
