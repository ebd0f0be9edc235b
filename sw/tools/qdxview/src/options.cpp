#include "options.hpp"

#include <CLI/CLI.hpp>

#include "commandLine/choice.hpp"
#include "commandLine/commandLine.hpp"
#include "commandLine/range.hpp"

namespace Qdxview {

namespace {

constexpr const char* examples =
    "Examples:\n"
    "  dch filter pull keep 11 | qdxview --catalogue infoObjectList.xml\n"
    "  qdxview --format csv --catalogue infoObjectList.xml --output pull.csv pull.txt\n"
    "  qdxview --html report.html --catalogue infoObjectList.xml pull.txt\n"
    "  qdxview --format json pull.txt | jq .radioMetaData";

constexpr std::size_t narrowest = 20;
constexpr std::size_t widest = 1000;

void addOptions(CLI::App& app, Options& options) {
    app.add_option("FILE", options.input, "What the pull gave; standard input if not given, or -")
        ->type_name("");
    app.add_option("--format", options.format, "table, text, csv, json or raw; table if not given")
        ->type_name("FORMAT")
        ->transform(Qdx::CommandLine::oneOf(Qdx::Pull::formats()));
    app.add_option("--catalogue", options.catalogue,
                   "Info object list to take names, units and types from")
        ->type_name("FILE");
    app.add_option("--output", options.output, "File to write, instead of standard output")
        ->type_name("FILE");
    app.add_option("--html", options.output,
                   "Write a page with charts for a browser to this file; - is standard output")
        ->type_name("FILE")
        ->excludes("--format")
        ->excludes("--output");
    app.add_option("--width", options.width, "Columns to fill, instead of the terminal's or 100")
        ->type_name("COLUMNS")
        ->check(Qdx::CommandLine::between(narrowest, widest));
}

void addTopOptions(CLI::App& app, Options& options, double& seconds) {
    constexpr double shortest = 0.5;
    constexpr double longest = 3600;
    auto* const top =
        app.add_flag("--top", options.top, "Live view of the collector and its filters");
    for (const auto* other : {"FILE", "--format", "--output", "--html"}) {
        top->excludes(app.get_option(other));
    }
    app.add_option("--every", seconds, "Refresh the live view so often; 2 if not given")
        ->type_name("SECONDS")
        ->check(Qdx::CommandLine::between(shortest, longest))
        ->needs(top);
    app.add_option("--filter", options.liveView.filters, "Only these filters, by id or name")
        ->type_name("ID")
        ->needs(top);
    app.add_flag("--once", options.once, "Print the live view once, as text")->needs(top);
}

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus) {
    Options options;
    bool raw = false;
    bool ascii = false;
    CLI::App app("Shows people what a pull of the collector gave, and converts it for programs.",
                 "qdxview");
    app.footer(examples);
    Qdx::CommandLine::prepare(app);
    addOptions(app, options);
    app.add_flag("--raw", raw, "Take the input for raw bytes, whatever it begins with");
    app.add_flag("--ascii", ascii, "Only ASCII characters in tables and text");
    auto seconds = std::chrono::duration<double>(options.liveView.period).count();
    addTopOptions(app, options, seconds);
    if (const auto end = Qdx::CommandLine::parse(app, argc, argv)) {
        exitStatus = *end;
        return std::nullopt;
    }
    options.page = app.count("--html") > 0;
    options.inputForm = raw ? Qdx::Pull::InputForm::Raw : Qdx::Pull::InputForm::Any;
    options.glyphs = ascii ? Qdx::Pull::Glyphs::Ascii : Qdx::Pull::Glyphs::Unicode;
    options.liveView.catalogue = options.catalogue;
    options.liveView.glyphs = options.glyphs;
    options.liveView.period =
        std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
    return options;
}

}  // namespace Qdxview
