#include "progress.hpp"

#include <cstdio>
#include <string>

namespace Qfci {

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 500ms;  // of a person, before the first line
constexpr auto period = 100ms;

constexpr const char* eraseLine = "\r\x1b[K";

}  // namespace

Progress::Progress(std::ostream* terminal, Time begin)
    : out(terminal), start(begin), nextShow(begin + patience) {}

Progress::~Progress() {
    if (shown) {
        *out << eraseLine << std::flush;
    }
}

void Progress::add(std::size_t bytes, Time now) {
    total += bytes;
    if (out == nullptr || now < nextShow) {
        return;
    }
    nextShow = now + period;
    shown = true;
    const auto megabytes = static_cast<double>(total) / 1e6;
    const auto seconds = std::chrono::duration<double>(now - start).count();
    char line[80];
    std::snprintf(line, sizeof(line), "  %.1f MB, %.1f MB/s", megabytes, megabytes / seconds);
    *out << eraseLine << line << std::flush;
}

}  // namespace Qfci
