// Lines as the shell of the collector cuts them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Dch {

using Words = std::vector<std::string>;

// What separates words. A carriage return does too, so that files of other systems work.
inline constexpr std::string_view blanks = " \t\r\v\f";

// The runs of other characters than blanks. Nothing quotes: a command gets its words joined with
// single blanks anyway.
Words splitWords(std::string_view line);

// The lines of a text; the last needs no newline.
std::vector<std::string> splitLines(std::string_view text);

}  // namespace Dch
