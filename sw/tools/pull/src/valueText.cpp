#include "valueText.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace Qdx::Pull {

namespace {

constexpr int mostDecimals = 9;

// From here on a double has no decimals to show, and its digits get many.
constexpr double largestPlain = 1e15;

template <typename... Arguments>
std::string formatted(const char* format, Arguments... arguments) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, arguments...);
    return text.data();
}

// How many decimals it takes to write the number.
int decimalsOf(double number) {
    for (int decimals = 0; decimals < mostDecimals; ++decimals) {
        const double shifted = number * std::pow(10, decimals);
        if (std::abs(shifted - std::round(shifted)) < shifted * 1e-9) {
            return decimals;
        }
    }
    return mostDecimals;
}

// As few digits as read back to the same number.
std::string shortest(double number) {
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.begin(), text.end(), number).ptr};
}

// The bare number for a year that the form has no room for.
std::string timeIn(const char* format, std::uint64_t secondsSinceEpoch) {
    constexpr std::uint64_t endOfYear9999 = 253'402'300'799;
    const auto time = static_cast<std::time_t>(secondsSinceEpoch);
    std::tm utc{};
    if (secondsSinceEpoch > endOfYear9999 || gmtime_r(&time, &utc) == nullptr) {
        return std::to_string(secondsSinceEpoch);
    }
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), format, &utc)};
}

}  // namespace

Scale::Scale(const std::string& resolution) {
    const double number = std::strtod(resolution.c_str(), nullptr);
    if (std::isfinite(number) && number > 0) {
        factor = number;
        decimals = decimalsOf(number);
        whole = decimals < mostDecimals;
    }
}

std::string Scale::text(std::int64_t raw) const {
    if (factor == 1) {
        return std::to_string(raw);
    }
    const double value = static_cast<double>(raw) * factor;
    return std::abs(value) < largestPlain ? formatted("%.*f", decimals, value)
                                          : formatted("%g", value);
}

std::string Scale::exactText(std::int64_t raw) const {
    const double value = static_cast<double>(raw) * factor;
    if (factor == 1 || (whole && std::abs(value) < largestPlain)) {
        return text(raw);
    }
    return std::isfinite(value) ? shortest(value) : "";
}

std::string timeText(std::uint64_t secondsSinceEpoch) {
    return timeIn("%Y-%m-%d %H:%M:%S", secondsSinceEpoch);
}

std::string isoTimeText(std::uint64_t secondsSinceEpoch) {
    return timeIn("%Y-%m-%dT%H:%M:%SZ", secondsSinceEpoch);
}

std::string timeSpanText(const TimeSpan& span) {
    const auto first = timeText(span.first);
    const auto last = timeText(span.last);
    const auto date = first.substr(0, first.find(' ') + 1);
    return first + " to " + (last.starts_with(date) ? last.substr(date.size()) : last);
}

std::string newestText(const Series& series, const Scale& scale, const std::string& unit,
                       std::size_t most) {
    const auto shown = std::min(most, series.numbers.size());
    const auto end = series.numbers.rbegin() + static_cast<std::ptrdiff_t>(shown);
    std::string text;
    for (auto value = series.numbers.rbegin(); value != end; ++value) {
        text.append(text.empty() ? "" : " ").append(scale.text(*value));
    }
    return text.empty() || unit.empty() ? text : text + ' ' + unit;
}

}  // namespace Qdx::Pull
