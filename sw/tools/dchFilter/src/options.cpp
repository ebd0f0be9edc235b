#include "options.hpp"

#include <CLI/CLI.hpp>
#include <cmath>

#include "commandLine/commandLine.hpp"
#include "commandLine/range.hpp"

namespace DchFilter {

namespace {

using Qdx::CommandLine::between;

constexpr const char* footer =
    "The file, of which dch-filter(1) and qdx-filter(5) tell more:\n"
    "  # one filter: its limit in bytes, then one capture statement a line\n"
    "  limit 524288\n"
    "  tags CPU context deviceId 0  max count 2 50 500\n"
    "  tags NET BYTES  sum duration 60 3600";

constexpr double lowestRate = 0.00001;
constexpr double highestRate = 10'000;
constexpr std::size_t largestRecord = 131'072;

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
    Qdx::CommandLine::prepare(app);
    app.add_option("FILE", options.input, "The filter; standard input if not given, or -")
        ->type_name("");
    app.add_flag("--check", options.checkOnly, "Only check the file; needs no collector");
    auto* catalogue = app.add_option("--catalogue", options.catalogue,
                                     "Only check, and show what the filter captures of this info "
                                     "object list and what that costs")
                          ->type_name("LIST");
    app.add_option("--rate", rate, "With --catalogue: samples a second of each pair; 1")
        ->type_name("N")
        ->check(between(lowestRate, highestRate))
        ->needs(catalogue);
    app.add_option("--record-size", options.report.load.recordSize,
                   "With --catalogue: bytes of each record; 100")
        ->type_name("BYTES")
        ->check(between(std::size_t{0}, largestRecord))
        ->needs(catalogue);
    auto* unit = app.add_option("--budget", budget,
                                "With --catalogue: the unit's limit for all filters together")
                     ->type_name("BYTES")
                     ->check(between(std::uint64_t{1}, largestLimit))
                     ->needs(catalogue);
    if (const auto end = Qdx::CommandLine::parse(app, argc, argv)) {
        exitStatus = *end;
        return std::nullopt;
    }
    options.report.load.betweenSamples = intervalOf(rate);
    if (unit->count() > 0) {
        options.report.unitBudget = budget;
    }
    return options;
}

}  // namespace DchFilter
