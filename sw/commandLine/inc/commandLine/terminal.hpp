// What may be written where people read.
#pragma once

namespace Qdx::CommandLine {

// Whether colours and movements of the cursor may go to the descriptor: it is a terminal, TERM
// doesn't say that it is dumb or say nothing, and the user didn't ask for plain text with NO_COLOR.
bool takesEscapes(int fd);

}  // namespace Qdx::CommandLine
