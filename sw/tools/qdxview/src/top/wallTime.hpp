// The time of day, as the live view tells it.
#pragma once

#include <chrono>

namespace Qdxview {

using WallTime = std::chrono::sys_seconds;

inline WallTime now() {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

}  // namespace Qdxview
