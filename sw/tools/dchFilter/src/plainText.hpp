// Text from outside, made fit for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace DchFilter {

// The text with a blank for every tab and a "?" for every other byte that is no printable ASCII
// character: a column for each byte, and no input can steer the terminal.
std::string plainText(std::string_view text);

}  // namespace DchFilter
