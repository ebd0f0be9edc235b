// Input that cannot be shown.
#pragma once

#include <string>
#include <string_view>

#include "files/badInput.hpp"

namespace Qdx::Pull {

using BadData = Files::BadInput;
using Files::NoInput;

// The first bytes of a text that surprised us, in quotes, fit for a line of an error message.
std::string quoteStart(std::string_view text);

}  // namespace Qdx::Pull
