// qdx_speed: how fast the collector is beside the least that a collector has to do.
#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "cases.hpp"

namespace {

using namespace Qdx::Bench;

struct Group {
    const char* name;
    std::vector<Row> (*measure)(const Settings&);
};

constexpr Group groups[] = {
    {"samples", sampleCases},  {"series", seriesCases}, {"pull", pullCases},
    {"mailbox", mailboxCases}, {"memory", memoryCases},
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
            const auto measured = group.measure(settings);
            rows.insert(rows.end(), measured.begin(), measured.end());
        }
    }
    return rows;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Measures the collector in turns with a yardstick in the same process.");
    std::vector<std::string> chosen;
    app.add_option("--filter", chosen, "Only these groups of cases")
        ->delimiter(',')
        ->check(CLI::IsMember(groupNames()));
    bool quick = false;
    app.add_flag("--quick", quick, "Few series and rounds: shows that it runs, measures nothing");
    CLI11_PARSE(app, argc, argv);
    try {
        pinToProcessor(0);
        print(measure(chosen, quick ? Settings{Effort::quick(), 50} : Settings{}), std::cout);
    } catch (const std::exception& error) {
        std::cerr << "qdx_speed: " << error.what() << "\n";
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
