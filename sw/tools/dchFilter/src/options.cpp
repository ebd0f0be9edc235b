#include "options.hpp"

#include <sysexits.h>

#include <CLI/CLI.hpp>
#include <cmath>

namespace DchFilter {

namespace {

constexpr const char* footer =
    "The file:\n"
    "  # one filter: its limit in bytes, then one capture statement a line\n"
    "  limit 524288\n"
    "  tags CPU context deviceId 0 max count 2 50 500\n"
    "  tags NET BYTES sum duration 60 3600\n\n"
    "With --catalogue, for each statement: the objects that it captures, and for each\n"
    "of its aggregators and each pair of object and context that it captures\n"
    "  VALUES   values kept when it is full; \"nothing\" if it takes no such object\n"
    "  MAIN     bytes of the filter's memory for structures\n"
    "  CONTENT  bytes of the filter's memory for samples, when full, after a sample\n"
    "  PEAK     the most bytes of content, while it grows or takes a sample\n"
    "Bytes are those that the collector counts against the filter's limit.\n\n"
    "Exit status: 0; 64 wrong usage; 65 a faulty file or catalogue, or the collector\n"
    "refuses a statement; 66 no such file; 69 no collector; 70 its answer ended too\n"
    "early; 73 it has no memory for the filter; 74 output lost; 75 it has as many\n"
    "filters as it may; 76 it answers what is not understood; 78 it is disabled.";

constexpr double lowestRate = 0.00001;
constexpr double highestRate = 10'000;
constexpr std::size_t largestRecord = 131'072;

// What the range would let pass: "nan".
std::string isDecimal(const std::string& text) {
    return text.find_first_not_of("0123456789.") == std::string::npos ? ""
                                                                      : text + " is not a number";
}

std::chrono::nanoseconds intervalOf(double samplesPerSecond) {
    constexpr double nanosecondsPerSecond = 1e9;
    return std::chrono::nanoseconds(
        static_cast<std::int64_t>(std::floor(nanosecondsPerSecond / samplesPerSecond)));
}

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus) {
    Options options;
    double rate = 1;
    std::uint64_t budget = 0;
    CLI::App app("Makes a filter of the collector from a file that describes it.", "dch-filter");
    app.footer(footer);
    app.set_version_flag("--version", "dch-filter " QDX_VERSION);
    app.add_option("FILE", options.input, "The filter; standard input if not given")->type_name("");
    app.add_flag("--check", options.checkOnly, "Only check the file; needs no collector");
    auto* catalogue = app.add_option("--catalogue", options.catalogue,
                                     "Check, and show what the filter captures of this info "
                                     "object list file and what that costs")
                          ->type_name("LIST");
    app.add_option("--rate", rate, "Samples a second of each pair, for lists of seconds; 1")
        ->type_name("N")
        ->check(isDecimal)
        ->check(CLI::Range(lowestRate, highestRate))
        ->needs(catalogue);
    app.add_option("--record-size", options.report.load.recordSize, "Bytes of each record; 100")
        ->type_name("BYTES")
        ->check(CLI::Range(std::size_t{0}, largestRecord))
        ->needs(catalogue);
    auto* unit = app.add_option("--budget", budget, "The unit's limit for all filters together")
                     ->type_name("BYTES")
                     ->check(CLI::Range(std::uint64_t{1}, largestLimit))
                     ->needs(catalogue);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        exitStatus = app.exit(end) == 0 ? EX_OK : EX_USAGE;
        return std::nullopt;
    }
    options.report.load.betweenSamples = intervalOf(rate);
    if (unit->count() > 0) {
        options.report.unitBudget = budget;
    }
    return options;
}

}  // namespace DchFilter
