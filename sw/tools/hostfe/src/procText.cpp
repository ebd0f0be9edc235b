#include "procText.hpp"

#include <charconv>

namespace HostFe {
namespace {

using Fields = std::vector<std::string_view>;

constexpr std::string_view blanks = " \t\r\n";
// The unit of /proc/diskstats, whatever the disk's own sectors are.
constexpr std::uint64_t bytesPerSector = 512;
constexpr std::uint64_t microsecondsPerMillisecond = 1000;

// Takes what stands before the separator off the front of text, and the separator with it.
std::string_view takeUntil(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return taken;
}

template <typename Visit>
void forEachLine(std::string_view text, Visit visit) {
    while (!text.empty()) {
        visit(takeUntil(text, '\n'));
    }
}

// The words of a line, not more than that many: some lines have one for each interrupt.
Fields split(std::string_view line, std::size_t most = 24) {
    Fields fields;
    while (fields.size() < most) {
        const std::size_t begin = line.find_first_not_of(blanks);
        if (begin == std::string_view::npos) {
            break;
        }
        line.remove_prefix(begin);
        const std::size_t end = line.find_first_of(blanks);
        fields.push_back(line.substr(0, end));
        line.remove_prefix(end == std::string_view::npos ? line.size() : end);
    }
    return fields;
}

template <typename T>
std::optional<T> toNumber(std::string_view text) {
    T number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return number;
}

// The numbers from that field on; empty if one of them is none.
std::optional<std::vector<std::uint64_t>> toNumbers(const Fields& fields, std::size_t first) {
    std::vector<std::uint64_t> numbers;
    numbers.reserve(fields.size());
    for (std::size_t field = first; field < fields.size(); ++field) {
        const auto number = toNumber<std::uint64_t>(fields[field]);
        if (!number) {
            return std::nullopt;
        }
        numbers.push_back(*number);
    }
    return numbers;
}

// A decimal such as "12.34" times ten to the power of digits, cut and not rounded, so that no
// binary fraction comes in between.
std::optional<std::int64_t> toScaled(std::string_view text, std::size_t digits) {
    const std::string_view whole = takeUntil(text, '.');
    std::string scaled(whole);
    for (std::size_t digit = 0; digit < digits; ++digit) {
        scaled += digit < text.size() ? text[digit] : '0';
    }
    return whole.empty() ? std::nullopt : toNumber<std::int64_t>(scaled);
}

std::optional<CpuTimes> toCpuTimes(const Fields& fields, std::uint64_t microsecondsPerTick) {
    const auto core = toNumber<int>(fields[0].substr(3));
    auto ticks = toNumbers(fields, 1);
    constexpr std::size_t firstStates = 4;  // since the oldest kernels; the others came later
    constexpr std::size_t states = 8;
    if (!core || !ticks || ticks->size() < firstStates) {
        return std::nullopt;
    }
    ticks->resize(states);
    for (std::uint64_t& tick : *ticks) {
        tick *= microsecondsPerTick;
    }
    const std::uint64_t* time = ticks->data();
    return CpuTimes{.core = *core,
                    .user = time[0],
                    .nice = time[1],
                    .system = time[2],
                    .idle = time[3],
                    .iowait = time[4],
                    .irq = time[5],
                    .softirq = time[6],
                    .steal = time[7]};
}

std::optional<Stall> toStall(const Fields& fields) {
    std::optional<std::int64_t> average;
    std::optional<std::uint64_t> total;
    for (std::string_view field : fields) {
        const std::string_view name = takeUntil(field, '=');
        if (name == "avg10") {
            average = toScaled(field, 2);
        } else if (name == "total") {
            total = toNumber<std::uint64_t>(field);
        }
    }
    return average && total ? std::optional(Stall{*average, *total}) : std::nullopt;
}

}  // namespace

SystemStat parseStat(std::string_view text, std::uint64_t microsecondsPerTick) {
    SystemStat stat;
    forEachLine(text, [&](std::string_view line) {
        constexpr std::size_t widest = 11;  // a core's line
        const Fields fields = split(line, widest);
        if (fields.size() < 2) {
            return;
        }
        const auto number = toNumber<std::uint64_t>(fields[1]);
        if (fields[0] == "intr") {
            stat.interrupts = number;
        } else if (fields[0] == "ctxt") {
            stat.contextSwitches = number;
        } else if (fields[0] == "processes") {
            stat.forks = number;
        } else if (fields[0] == "procs_running") {
            stat.running = number;
        } else if (fields[0] == "procs_blocked") {
            stat.blocked = number;
        } else if (fields[0].starts_with("cpu")) {
            if (const auto times = toCpuTimes(fields, microsecondsPerTick)) {
                stat.cores.push_back(*times);
            }
        }
    });
    return stat;
}

std::optional<LoadAverage> parseLoadAverage(std::string_view text) {
    const Fields fields = split(text);
    if (fields.size() < 3) {
        return std::nullopt;
    }
    const auto one = toScaled(fields[0], 2);
    const auto five = toScaled(fields[1], 2);
    const auto fifteen = toScaled(fields[2], 2);
    if (!one || !five || !fifteen) {
        return std::nullopt;
    }
    return LoadAverage{*one, *five, *fifteen};
}

MemoryInfo parseMemoryInfo(std::string_view text) {
    MemoryInfo info;
    forEachLine(text, [&](std::string_view line) {
        const std::string_view name = takeUntil(line, ':');
        const Fields fields = split(line);
        // What has no unit is a number of pages.
        if (fields.size() != 2 || fields[1] != "kB") {
            return;
        }
        if (const auto kibibytes = toNumber<std::uint64_t>(fields[0])) {
            info.emplace(name, *kibibytes);
        }
    });
    return info;
}

Pressure parsePressure(std::string_view text) {
    Pressure pressure;
    forEachLine(text, [&](std::string_view line) {
        const Fields fields = split(line);
        if (fields.empty()) {
            return;
        }
        if (fields[0] == "some") {
            pressure.some = toStall(fields);
        } else if (fields[0] == "full") {
            pressure.full = toStall(fields);
        }
    });
    return pressure;
}

std::vector<InterfaceCounts> parseInterfaces(std::string_view text) {
    std::vector<InterfaceCounts> interfaces;
    forEachLine(text, [&](std::string_view line) {
        // Old kernels put no blank between the colon and the first number.
        const std::size_t colon = line.rfind(':');
        if (colon == std::string_view::npos) {
            return;
        }
        const auto counts = toNumbers(split(line.substr(colon + 1)), 0);
        constexpr std::size_t columns = 16;
        if (!counts || counts->size() < columns) {
            return;
        }
        const std::uint64_t* count = counts->data();
        interfaces.push_back({.name = std::string(strip(line.substr(0, colon))),
                              .receivedBytes = count[0],
                              .receivedPackets = count[1],
                              .receiveErrors = count[2],
                              .receiveDrops = count[3],
                              .sentBytes = count[8],
                              .sentPackets = count[9],
                              .sendErrors = count[10],
                              .sendDrops = count[11]});
    });
    return interfaces;
}

std::vector<DiskCounts> parseDisks(std::string_view text) {
    std::vector<DiskCounts> disks;
    forEachLine(text, [&](std::string_view line) {
        const Fields fields = split(line);
        constexpr std::size_t columns = 14;  // later kernels have more
        if (fields.size() < columns) {
            return;
        }
        const auto major = toNumber<std::uint64_t>(fields[0]);
        const auto counts = toNumbers(fields, 3);
        if (!major || !counts) {
            return;
        }
        const std::uint64_t* count = counts->data();
        disks.push_back({.major = *major,
                         .name = std::string(fields[2]),
                         .reads = count[0],
                         .readBytes = count[2] * bytesPerSector,
                         .writes = count[4],
                         .writtenBytes = count[6] * bytesPerSector,
                         .busyTime = count[9] * microsecondsPerMillisecond});
    });
    return disks;
}

std::map<int, std::int64_t> parseCpuFrequencies(std::string_view text) {
    std::map<int, std::int64_t> frequencies;
    std::optional<int> core;
    forEachLine(text, [&](std::string_view line) {
        const std::string_view name = strip(takeUntil(line, ':'));
        const std::string_view value = strip(line);
        if (name == "processor") {
            core = toNumber<int>(value);
        } else if (name == "cpu MHz" && core) {
            constexpr std::size_t digitsToKilohertz = 3;
            if (const auto kilohertz = toScaled(value, digitsToKilohertz)) {
                frequencies[*core] = *kilohertz;
            }
        }
    });
    return frequencies;
}

std::optional<std::int64_t> parseNumberFile(std::string_view text) {
    return toNumber<std::int64_t>(strip(text));
}

std::optional<std::uint64_t> parseCountFile(std::string_view text) {
    return toNumber<std::uint64_t>(strip(text));
}

std::string parseOsRelease(std::string_view text, std::string_view name) {
    std::string value;
    forEachLine(text, [&](std::string_view line) {
        if (takeUntil(line, '=') != name) {
            return;
        }
        line = strip(line);
        const bool quoted = line.size() >= 2 && line.front() == line.back() &&
                            (line.front() == '"' || line.front() == '\'');
        value = quoted ? line.substr(1, line.size() - 2) : line;
    });
    return value;
}

std::string_view strip(std::string_view text) {
    constexpr std::string_view surroundings(" \t\r\n\0", 5);
    const std::size_t begin = text.find_first_not_of(surroundings);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(surroundings) - begin + 1);
}

}  // namespace HostFe
