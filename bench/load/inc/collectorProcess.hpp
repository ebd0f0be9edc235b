// What the collector's process takes of the machine.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

namespace QdxLoad {

struct ProcessUse {
    double cpuSeconds;            // of all its threads, in user and kernel mode; counted in ticks
    std::uint64_t peakKibibytes;  // of memory, resident
};

// The process that serves commands in this unit, as the kernel knows it from the command socket.
// Empty if nobody serves them.
std::optional<pid_t> findCollector();

// Empty if there is no such process.
std::optional<ProcessUse> readUse(pid_t process);

// From the texts of /proc/PID/stat and /proc/PID/status. Empty if they are something else.
std::optional<ProcessUse> parseUse(const std::string& stat, const std::string& status,
                                   long ticksPerSecond);

}  // namespace QdxLoad
