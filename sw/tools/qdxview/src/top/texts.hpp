// Quantities as short texts.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "picture.hpp"

namespace Qdxview {

// "512 B", "48 KiB", "2 MiB": three digits at least, and no decimals that say nothing.
std::string bytesText(std::uint64_t bytes);

// "0 s", "59 s", "3 min", "47 h", "12 d".
std::string spanText(std::chrono::seconds span);

// Since then; "0 s" for what lies in the future, as clocks differ.
std::string ageText(WallTime then, WallTime now);

// "18:43:02 UTC".
std::string clockText(WallTime time);

// "2 s", "0.5 s".
std::string periodText(std::chrono::milliseconds period);

// "1 filter", "3 filters".
std::string countText(std::size_t count, const std::string& one, const std::string& several);

}  // namespace Qdxview
