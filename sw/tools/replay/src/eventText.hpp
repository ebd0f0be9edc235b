// Events and messages as people read them.
#pragma once

#include <cstdint>
#include <string>

#include "recording/entry.hpp"

namespace Replay {

// Of the messages of frontends and control clients; the number in hexadecimal for others.
std::string messageName(std::uint32_t number);

// "BeConnectionReq of 20 bytes from 1", "1 is gone", "dch filter status".
std::string eventText(const Recording::Entry& event);

// Seconds with nine decimals.
std::string secondsText(std::chrono::nanoseconds time);

}  // namespace Replay
