// hostfe: this Linux machine as a frontend of the collector.
#include <sysexits.h>

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

// Asking for help or version ends the parsing too.
int report(const CLI::App& app, const CLI::ParseError& end) {
    if (end.get_exit_code() == 0) {
        return app.exit(end);
    }
    std::cerr << "hostfe: " << end.what() << "; see hostfe --help\n";
    return EX_USAGE;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app(
        "Sends measurements, counters and records of this Linux machine to the collector.");
    app.set_version_flag("--version", "hostfe " QDX_VERSION);
    HostFe::Options options;
    double seconds = 0;
    double registerSeconds = options.registerPeriod.count();
    app.add_option("--rate", options.rateHz, "Batches per second")
        ->check(between(0.1, 1000))
        ->capture_default_str();
    const auto* duration =
        app.add_option("--duration", seconds, "Seconds to run; until it is stopped without it")
            ->check(between(0.001, 1e9));
    app.add_option("--register-period", registerSeconds,
                   "Seconds between records of an interface's counters; an error is told at once")
        ->check(between(1, 86'400))
        ->capture_default_str();
    app.add_option("--host-root", options.hostRoot,
                   "Directory that holds proc, sys and etc of the machine to watch")
        ->check(CLI::ExistingDirectory)
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return report(app, end);
    }
    options.registerPeriod = std::chrono::duration<double>(registerSeconds);
    if (duration->count() > 0) {
        options.duration = std::chrono::duration<double>(seconds);
    }
    try {
        HostFe::runHostFrontend(options);
    } catch (const std::exception& error) {
        std::cerr << "hostfe: " << error.what() << '\n';
        return EX_UNAVAILABLE;
    }
    return 0;
}
