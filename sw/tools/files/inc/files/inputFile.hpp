// Whole inputs, read with a bound.
#pragma once

#include <cstddef>
#include <istream>
#include <string>

namespace Qdx::Files {

// Everything up to the end of the stream. Throws BadInput, with the source's name, past the limit,
// and NoInput when reading fails.
std::string readAll(std::istream& stream, const std::string& source, std::size_t limit);

// The same of a file. Throws NoInput also if it can't be opened.
std::string readFile(const std::string& path, std::size_t limit);

}  // namespace Qdx::Files
