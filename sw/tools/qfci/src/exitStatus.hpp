// What the shell is told.
#pragma once

#include "control/result.hpp"

namespace Qfci {

// A status of sysexits.h for each way in which a procedure can end.
int exitStatusOf(Qdx::Control::Outcome outcome);

// Writes "qfci: " and the text to standard error; gives the status.
int report(const std::string& text, int status);

// Reports what isn't done; gives the status.
int report(const Qdx::Control::Result& result);

}  // namespace Qfci
