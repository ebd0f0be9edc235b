// The frontend itself: reads the machine at a steady rate and sends what it finds to the collector.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>

namespace HostFe {

struct Options {
    double rateHz = 10;
    std::optional<std::chrono::duration<double>> duration;  // for ever without one
    std::chrono::duration<double> registerPeriod{10};       // between blocks of counters
    std::filesystem::path hostRoot = "/";                   // below it stand proc, sys and etc
};

// Runs until SIGTERM, SIGINT or the end of the duration. Throws std::runtime_error with one line if
// it can't start. On the main thread, before any other thread starts.
void runHostFrontend(const Options& options);

}  // namespace HostFe
