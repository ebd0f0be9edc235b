// hostfe: this Linux machine as a frontend of the collector.
#include <sysexits.h>

#include <CLI/CLI.hpp>

#include "commandLine/commandLine.hpp"
#include "commandLine/fault.hpp"
#include "commandLine/range.hpp"
#include "hostFrontend.hpp"

namespace {

int run(int argc, char** argv) {
    CLI::App app("Sends measurements, counters and records of this Linux machine to the collector.",
                 "hostfe");
    Qdx::CommandLine::prepare(app);
    HostFe::Options options;
    double seconds = 0;
    double registerSeconds = options.registerPeriod.count();
    app.add_option("--rate", options.rateHz, "Batches a second; 10 if not given")
        ->type_name("HERTZ")
        ->check(Qdx::CommandLine::between(0.1, 1000.0));
    const auto* duration =
        app.add_option("--duration", seconds, "Time to run; until it is stopped if not given")
            ->type_name("SECONDS")
            ->check(Qdx::CommandLine::between(0.001, 1e9));
    app.add_option("--register-period", registerSeconds,
                   "Time between records of an interface's counters; 10 if not given")
        ->type_name("SECONDS")
        ->check(Qdx::CommandLine::between(1.0, 86'400.0));
    app.add_option("--host-root", options.hostRoot,
                   "Where proc, sys and etc of the machine to watch are; / if not given")
        ->type_name("DIRECTORY")
        ->check(CLI::ExistingDirectory);
    if (const auto end = Qdx::CommandLine::parse(app, argc, argv)) {
        return *end;
    }
    options.registerPeriod = std::chrono::duration<double>(registerSeconds);
    if (duration->count() > 0) {
        options.duration = std::chrono::duration<double>(seconds);
    }
    HostFe::runHostFrontend(options);
    return EX_OK;
}

}  // namespace

int main(int argc, char** argv) {
    return Qdx::CommandLine::guarded("hostfe", EX_UNAVAILABLE, [&] { return run(argc, argv); });
}
