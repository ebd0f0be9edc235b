// Values as text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "series.hpp"

namespace Qdx::Pull {

// What one step of a raw value is worth.
class Scale {
public:
    // From the text of a unit's resolution, "0.01"; a text that is no positive number scales by 1.
    explicit Scale(const std::string& resolution);

    // The value times the resolution, with as many decimals as the resolution has, at most nine.
    std::string text(std::int64_t raw) const;

private:
    double factor = 1;
    int decimals = 0;
};

// "2024-05-01 10:00:00"; the bare number for a time whose year has more than four digits.
std::string timeText(std::uint64_t secondsSinceEpoch);

// "2024-05-01 10:00:00 to 10:00:10", with the date again where it's another day.
std::string timeSpanText(const TimeSpan& span);

// The size of a record and its first bytes: "24 bytes 0a05312e".
std::string recordText(std::string_view record);

// At most so many of the newest values, the newest first, and the unit behind them. Of records only
// the newest is told; without values nothing is.
std::string newestText(const Series& series, const Scale& scale, const std::string& unit,
                       std::size_t most);

}  // namespace Qdx::Pull
