// Values as text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "series.hpp"

namespace Qdx::Pull {

// What one step of a raw value is worth.
class Scale {
public:
    // From the text of a unit's resolution, "0.01"; a text that is no positive number scales by 1.
    explicit Scale(const std::string& resolution);

    // The value times the resolution, with as many decimals as the resolution has, at most nine.
    std::string text(std::int64_t raw) const;

    // The same for programs: with as many digits as it takes where the resolution's decimals don't
    // tell the value. Empty for a value past the range of doubles.
    std::string exactText(std::int64_t raw) const;

private:
    double factor = 1;
    int decimals = 0;
    bool whole = true;  // the decimals tell the factor exactly
};

// "2024-05-01 10:00:00"; the bare number for a time whose year has more than four digits.
std::string timeText(std::uint64_t secondsSinceEpoch);

// "2024-05-01T10:00:00Z", as in ISO 8601, for as long.
std::string isoTimeText(std::uint64_t secondsSinceEpoch);

// "2024-05-01 10:00:00 to 10:00:10", with the date again where it's another day.
std::string timeSpanText(const TimeSpan& span);

// At most so many of the newest values, the newest first, and the unit behind them; nothing of
// records and without values.
std::string newestText(const Series& series, const Scale& scale, const std::string& unit,
                       std::size_t most);

}  // namespace Qdx::Pull
