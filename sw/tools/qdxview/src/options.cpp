#include "options.hpp"

#include <CLI/CLI.hpp>

#include "commandLine/choice.hpp"
#include "commandLine/commandLine.hpp"

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
    app.add_option("--html", options.html,
                   "Write a page with charts for a browser to this file; - is standard output")
        ->type_name("FILE")
        ->excludes("--format")
        ->excludes("--output");
    app.add_option("--width", options.width, "Columns to fill, instead of the terminal's or 100")
        ->type_name("COLUMNS")
        ->check(CLI::Range(narrowest, widest));
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
    if (const auto end = Qdx::CommandLine::parse(app, argc, argv)) {
        exitStatus = *end;
        return std::nullopt;
    }
    options.inputForm = raw ? Qdx::Pull::InputForm::Raw : Qdx::Pull::InputForm::Any;
    options.glyphs = ascii ? Qdx::Pull::Glyphs::Ascii : Qdx::Pull::Glyphs::Unicode;
    return options;
}

}  // namespace Qdxview
