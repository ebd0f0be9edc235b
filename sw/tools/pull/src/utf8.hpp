// Which bytes of a text are UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Qdx::Pull {

// Whether a byte is one of a character's, but not its first.
bool isContinuation(char byte);

// The size of the UTF-8 character at the start of the text; 0 if there is none. REQUIRES: the text
// isn't empty.
std::size_t characterSize(std::string_view text);

// The text without the bytes that are of no UTF-8 character.
std::string validPart(std::string_view text);

}  // namespace Qdx::Pull
