// qdx_speed: how fast the collector is beside the least that a collector has to do.
#include <sysexits.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "cases.hpp"
#include "fixedRun.hpp"

namespace {

using namespace Qdx::Bench;

struct Group {
    const char* name;
    std::vector<Row> (*measure)(const Settings&);
};

constexpr Group groups[] = {
    {"samples", sampleCases},  {"series", seriesCases}, {"pull", pullCases},
    {"mailbox", mailboxCases}, {"memory", memoryCases}, {"comparison", comparisonCases},
};

std::vector<std::string> groupNames() {
    std::vector<std::string> names;
    for (const auto& group : groups) {
        names.emplace_back(group.name);
    }
    return names;
}

bool isChosen(const std::vector<std::string>& chosen, const char* name) {
    return chosen.empty() || std::find(chosen.begin(), chosen.end(), name) != chosen.end();
}

std::vector<Row> measure(const std::vector<std::string>& chosen, const Settings& settings) {
    std::vector<Row> rows;
    for (const auto& group : groups) {
        if (isChosen(chosen, group.name)) {
            std::cerr << "measuring: " << group.name << '\n';  // some take a while to fill
            const auto measured = group.measure(settings);
            rows.insert(rows.end(), measured.begin(), measured.end());
        }
    }
    return rows;
}

struct Options {
    std::vector<std::string> groups;
    bool quick = false;
    std::string tabbedFile;
    std::size_t fixedPasses = 0;
};

void declare(CLI::App& app, Options& options) {
    app.set_version_flag("--version", "qdx_speed " QDX_VERSION);
    app.add_option("--filter", options.groups, "Only these groups of cases")
        ->delimiter(',')
        ->check(CLI::IsMember(groupNames()));
    app.add_flag("--quick", options.quick,
                 "Few series and rounds: shows that all cases run, the figures mean nothing");
    app.add_option("--tabbed", options.tabbedFile,
                   "Also write the table to this file, with tabs and the points to plot");
    app.add_option("--fixed", options.fixedPasses,
                   "Measure nothing, but make so many passes over the samples of the case "
                   "\"1 filter\" in the function fixedRun, for a profiler")
        ->check(CLI::PositiveNumber);
}

void writeTabbed(const std::vector<Row>& rows, const std::string& path) {
    std::ofstream file(path);
    file << "built with\t" QDX_COMPILER "\n";
    printTabbed(rows, file);
    if (!file.flush()) {
        throw std::runtime_error("can't write " + path);
    }
}

void run(const Options& options) {
    pinToProcessor(0);
    if (options.fixedPasses > 0) {
        std::cout << profiledSamples(options.fixedPasses) << " samples\n";
        return;
    }
    const auto settings = options.quick ? Settings{Effort::quick(), 500} : Settings{};
    const auto rows = measure(options.groups, settings);
    print(rows, std::cout);
    if (!options.tabbedFile.empty()) {
        writeTabbed(rows, options.tabbedFile);
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Measures the collector in turns with a yardstick in the same process.");
    Options options;
    declare(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return app.exit(end) == 0 ? EX_OK : EX_USAGE;
    }
    try {
        run(options);
    } catch (const std::exception& error) {
        std::cerr << "qdx_speed: " << error.what() << '\n';
        return EX_SOFTWARE;
    }
    return EX_OK;
}
