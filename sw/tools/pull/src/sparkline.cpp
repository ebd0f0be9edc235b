#include "sparkline.hpp"

#include <algorithm>
#include <array>
#include <numeric>
#include <string_view>

namespace Qdx::Pull {

namespace {

constexpr std::size_t levels = 8;
constexpr std::array<std::string_view, levels> blocks{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array<std::string_view, levels> signs{"_", ".", "-", "~", "+", "*", "%", "#"};

}  // namespace

std::vector<double> means(const std::vector<std::int64_t>& values, std::size_t groups) {
    groups = std::min(groups, values.size());
    std::vector<double> result;
    auto begin = values.begin();
    for (std::size_t group = 0; group < groups; ++group) {
        // The remainder of the division spreads over the first groups.
        const auto size =
            values.size() / groups + (group < values.size() % groups ? std::size_t{1} : 0);
        const auto end = begin + static_cast<std::ptrdiff_t>(size);
        result.push_back(std::accumulate(begin, end, 0.0) / static_cast<double>(size));
        begin = end;
    }
    return result;
}

std::vector<std::size_t> steps(const std::vector<double>& values, std::size_t steps) {
    std::vector<std::size_t> result;
    if (values.empty()) {
        return result;
    }
    const auto [low, high] = std::minmax_element(values.begin(), values.end());
    const double range = *high - *low;
    for (const double value : values) {
        const double share = range > 0 ? (value - *low) / range : 0;
        const auto step = static_cast<std::size_t>(share * static_cast<double>(steps));
        result.push_back(std::min(step, steps - 1));
    }
    return result;
}

std::string sparkline(const std::vector<std::int64_t>& values, std::size_t width, Glyphs glyphs) {
    const auto& characters = glyphs == Glyphs::Unicode ? blocks : signs;
    std::string line;
    for (const auto step : steps(means(values, width), levels)) {
        line += characters[step];
    }
    return line;
}

}  // namespace Qdx::Pull
