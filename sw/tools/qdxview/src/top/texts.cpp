#include "texts.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

namespace Qdxview {

namespace {

std::string oneDecimal(double number) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f", number);
    std::string shown = text.data();
    return shown.ends_with(".0") ? shown.substr(0, shown.size() - 2) : shown;
}

}  // namespace

std::string bytesText(std::uint64_t bytes) {
    constexpr std::array units{" B", " KiB", " MiB", " GiB"};
    auto number = static_cast<double>(bytes);
    std::size_t unit = 0;
    while (number >= 1024 && unit + 1 < units.size()) {
        number /= 1024;
        ++unit;
    }
    return (number < 10 ? oneDecimal(number) : std::to_string(static_cast<std::uint64_t>(number))) +
           units[unit];
}

std::string spanText(std::chrono::seconds span) {
    using namespace std::chrono_literals;
    const auto in = [span](auto unit, const char* name) {
        return std::to_string(span / unit) + name;
    };
    if (span < 60s) {
        return in(1s, " s");
    }
    if (span < 60min) {
        return in(1min, " min");
    }
    return span < 48h ? in(1h, " h") : in(24h, " d");
}

std::string ageText(WallTime then, WallTime now) {
    return spanText(std::max(now - then, std::chrono::seconds(0)));
}

std::string clockText(WallTime time) {
    const std::chrono::hh_mm_ss clock(time - std::chrono::floor<std::chrono::days>(time));
    std::array<char, 32> text{};
    std::snprintf(
        text.data(), text.size(), "%02d:%02d:%02d UTC", static_cast<int>(clock.hours().count()),
        static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    return text.data();
}

std::string periodText(std::chrono::milliseconds period) {
    return oneDecimal(static_cast<double>(period.count()) / 1000) + " s";
}

std::string countText(std::size_t count, const std::string& one, const std::string& several) {
    return std::to_string(count) + ' ' + (count == 1 ? one : several);
}

}  // namespace Qdxview
