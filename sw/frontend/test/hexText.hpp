// MessageBytes as text that tests can show and read.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Qdx::V1 {

// "017070c3 00": lower case, a blank behind every four bytes.
std::string toHex(std::span<const unsigned char> bytes);

// Reads the digits of the text; blanks are left out.
std::vector<unsigned char> fromHex(std::string_view digits);

// The first word of a message as this host stores it.
std::string numberInHostOrder(std::uint32_t number);

}  // namespace Qdx::V1
