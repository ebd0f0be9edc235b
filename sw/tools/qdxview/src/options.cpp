#include "options.hpp"

#include <sysexits.h>

#include <CLI/CLI.hpp>

namespace Qdxview {

namespace {

constexpr const char* examples =
    "Examples:\n"
    "  dch filter pull keep 11 | qdxview --catalogue infoObjectList.xml\n"
    "  qdxview --ascii pull.txt\n\n"
    "Exit status: 0; 64 wrong usage; 65 input that is damaged; 66 no such file; 74 output lost.";

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus) {
    constexpr std::size_t narrowest = 20;
    constexpr std::size_t widest = 1000;
    Options options;
    bool ascii = false;
    CLI::App app("Shows people what a pull of the collector gave.", "qdxview");
    app.footer(examples);
    app.set_version_flag("--version", "qdxview " QDX_VERSION);
    app.add_option("FILE", options.input, "What the pull printed; standard input if not given")
        ->type_name("");
    app.add_option("--catalogue", options.catalogue,
                   "Info object list file to take names and units from")
        ->type_name("FILE");
    app.add_option("--width", options.width, "Columns to fill, instead of the terminal's or 100")
        ->type_name("COLUMNS")
        ->check(CLI::Range(narrowest, widest));
    app.add_flag("--ascii", ascii, "Only ASCII characters, for plain terminals");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        exitStatus = app.exit(end) == 0 ? EX_OK : EX_USAGE;
        return std::nullopt;
    }
    options.glyphs = ascii ? Qdx::Pull::Glyphs::Ascii : Qdx::Pull::Glyphs::Unicode;
    return options;
}

}  // namespace Qdxview
