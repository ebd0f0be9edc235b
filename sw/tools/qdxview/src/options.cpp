#include "options.hpp"

#include <sysexits.h>

#include <CLI/CLI.hpp>

namespace Qdxview {

namespace {

constexpr const char* examples =
    "Examples:\n"
    "  dch filter pull keep 11 | qdxview --catalogue infoObjectList.xml\n"
    "  qdxview --format csv --catalogue infoObjectList.xml --output pull.csv pull.txt\n"
    "  qdxview --html report.html --catalogue infoObjectList.xml pull.txt\n"
    "  qdxview --format json pull.txt | jq .radioMetaData\n\n"
    "Exit status: 0; 64 wrong usage; 65 input that is damaged; 66 no such file; 69 no page in\n"
    "this build; 73 output that cannot be created; 74 output lost.";

constexpr std::size_t narrowest = 20;
constexpr std::size_t widest = 1000;

void addOptions(CLI::App& app, Options& options) {
    app.add_option("FILE", options.input,
                   "What the pull gave, as text or raw bytes; standard input if not given")
        ->type_name("");
    app.add_option("--format", options.format, "table, text, csv, json or raw; table if not given")
        ->type_name("FORMAT")
        ->transform(CLI::CheckedTransformer(Qdx::Pull::formats()).description(""));
    app.add_option("--catalogue", options.catalogue,
                   "Info object list file to take names, units and types from")
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
    app.set_version_flag("--version", "qdxview " QDX_VERSION);
    addOptions(app, options);
    app.add_flag("--raw", raw, "Take the input for raw bytes, whatever it begins with");
    app.add_flag("--ascii", ascii, "Only ASCII characters in tables and text");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        exitStatus = app.exit(end) == 0 ? EX_OK : EX_USAGE;
        return std::nullopt;
    }
    options.inputForm = raw ? Qdx::Pull::InputForm::Raw : Qdx::Pull::InputForm::Any;
    options.glyphs = ascii ? Qdx::Pull::Glyphs::Ascii : Qdx::Pull::Glyphs::Unicode;
    return options;
}

}  // namespace Qdxview
