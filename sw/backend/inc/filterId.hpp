// Identity and flags of a filter.
#pragma once

#include <cstdint>
#include <limits>
#include <ostream>

namespace Qdx::Backend {

// Orders numerically, prints in decimal.
enum class FilterId : std::int64_t {};

// The id of a filter that has none yet.
inline constexpr FilterId FILTERID_INIT{std::numeric_limits<std::int64_t>::max()};

inline std::ostream& operator<<(std::ostream& out, FilterId id) {
    return out << static_cast<std::int64_t>(id);
}

// Flags of a filter and of a pull. Zero is the affirmative in all of them.
enum class Enabled : std::int32_t { Yes = 0, No = 1 };
enum class Static : std::int32_t { Yes = 0, No = 1 };
enum class Printable : std::int32_t { Yes = 0, No = 1 };
enum class Clear : std::int32_t { Yes = 0, No = 1 };

}  // namespace Qdx::Backend
