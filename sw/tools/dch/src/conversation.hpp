// A session at a terminal.
#pragma once

#include <string>

namespace Dch {

// Prompts for lines, with completion and history, until the user leaves. Failures are told and
// don't end it. Throws what the standard streams throw.
void converse(const std::string& name);

}  // namespace Dch
