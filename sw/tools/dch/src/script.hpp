// A session whose lines come from a file or pipe.
#pragma once

#include "lineReader.hpp"
#include "session.hpp"

namespace Dch {

enum class OnFailure { Stop, GoOn };

// Types line after line until one fails, asks to leave, or there are no more. Each failure is told
// in one line on standard error, with the number of the line. The result is the status of the first
// that failed, 0 if none did. Throws what reading and the standard streams throw.
int runScript(LineReader& lines, Session& session, OnFailure onFailure);

}  // namespace Dch
