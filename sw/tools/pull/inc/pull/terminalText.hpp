// Text from outside, made fit for a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Qdx::Pull {

// What the terminal can show.
enum class Glyphs { Unicode, Ascii };

// The text with a "?" for every control character, so that no input can steer the terminal, for
// every character that hides itself or turns the order of others, so that what is read is what is
// there, and for every byte that is not of the wanted kind: outside UTF-8, or outside ASCII.
std::string plainText(std::string_view text, Glyphs glyphs);

// The columns that a plain text takes: one for each character.
std::size_t columns(std::string_view text);

// The text, cut to so many columns; a cut shows as an ellipsis.
std::string cutTo(std::string_view text, std::size_t width, Glyphs glyphs);

}  // namespace Qdx::Pull
