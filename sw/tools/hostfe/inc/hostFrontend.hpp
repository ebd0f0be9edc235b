// The frontend itself: reads the machine at a steady rate and sends what it finds to the collector.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "qdx/frontend/statistics.hpp"

namespace HostFe {

struct Options {
    double rateHz = 10;
    std::optional<std::chrono::duration<double>> duration;  // for ever without one
    std::chrono::duration<double> registerPeriod{10};       // between blocks of counters
    std::filesystem::path hostRoot = "/";                   // below it stand proc, sys and etc
};

// Runs until SIGTERM, SIGINT or the end of the duration. Throws an exception whose text is one line
// if it can't start. On the main thread, before any other thread starts.
//
// While no collector is connected nothing is read, and what the machine counts meanwhile is
// forgotten: a collector that restarted has no earlier total that it would complete, and as one
// large increment it would look like a burst at the time of the connection.
void runHostFrontend(const Options& options);

// What was sent, and what was dropped for which cause, in one line.
std::string describe(const Qdx::Frontend::Statistics& counts);

}  // namespace HostFe
