#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <string_view>

#include "frame.hpp"
#include "ozo.h"

namespace {

constexpr std::size_t defaultSize = std::size_t{64} * 1024;
constexpr std::size_t smallestSetting = 1024;
constexpr std::size_t largestSetting = Ozo::maxMessageSize;

}  // namespace

size_t ozo_get_max_size() {
    const char* const setting = ::secure_getenv("OZO_MAX_SIZE");
    if (setting == nullptr)
        return defaultSize;
    const std::string_view text(setting);
    std::size_t size = 0;
    const auto [last, error] = std::from_chars(text.data(), text.data() + text.size(), size);
    if (error == std::errc::invalid_argument || last != text.data() + text.size())
        return defaultSize;
    // More digits than a number holds are a number too large like others.
    return error == std::errc::result_out_of_range
               ? largestSetting
               : std::clamp(size, smallestSetting, largestSetting);
}
