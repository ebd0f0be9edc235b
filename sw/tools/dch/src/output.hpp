// The standard streams, unbuffered: an answer shows while its command runs.
#pragma once

#include <string_view>

namespace Dch {

// Whoever read our output has gone, which needs no message.
struct OutputLost {};

// Throw OutputLost, or std::system_error.
void writeOutput(std::string_view bytes);
void writeError(std::string_view bytes);

}  // namespace Dch
