// hostfe: this Linux machine as a frontend of the collector.
#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <string>

#include "hostFrontend.hpp"

namespace {

// Written so that "nan" is outside of every range.
CLI::Validator between(double low, double high) {
    const auto toText = [](double value) { return CLI::detail::to_string(value); };
    const std::string range = toText(low) + " to " + toText(high);
    return {[low, high, range](std::string& text) {
                double value = 0;
                const bool good =
                    CLI::detail::lexical_cast(text, value) && value >= low && value <= high;
                return good ? std::string() : text + " is not a number from " + range;
            },
            range};
}

}  // namespace

int main(int argc, char** argv) {
    constexpr int cannotStart = 1;
    CLI::App app("Sends measurements and counters of this Linux machine to the collector.");
    app.set_version_flag("--version", "hostfe " QDX_VERSION);
    HostFe::Options options;
    double seconds = 0;
    app.add_option("--rate", options.rateHz, "Batches per second")
        ->check(between(0.1, 1000))
        ->capture_default_str();
    const auto* duration =
        app.add_option("--duration", seconds, "Seconds to run; until it is stopped without it")
            ->check(between(0.001, 1e9));
    app.add_option("--host-root", options.hostRoot,
                   "Directory that holds proc, sys and etc of the machine to watch")
        ->check(CLI::ExistingDirectory)
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    if (duration->count() > 0) {
        options.duration = std::chrono::duration<double>(seconds);
    }
    try {
        HostFe::runHostFrontend(options);
    } catch (const std::exception& error) {
        std::cerr << "hostfe: " << error.what() << '\n';
        return cannotStart;
    }
    return 0;
}
