// Diagnostics as compilers write them.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "filterCheck.hpp"

namespace DchFilter {

// Writes "FILE:LINE:COLUMN: what is wrong", then the line with a caret below the place, then the
// note. Columns are bytes, from 1. A long line is cut on both sides of the place.
void printDiagnostic(std::ostream& out, const std::string& fileName, const Diagnostic& diagnostic);

void printDiagnostics(std::ostream& out, const std::string& fileName,
                      const std::vector<Diagnostic>& diagnostics);

}  // namespace DchFilter
