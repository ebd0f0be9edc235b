// Feeds info object list files to a ParserContext: the one place that knows libxml2.
#pragma once

#include <cstdio>
#include <string>

#include "parserContext.hpp"

namespace Qdx::Backend {

// To be called once before reading. libxml2 itself says on standard error when it is older than the
// one built against.
void checkXmlLibrary();

// Reads the file to its end. False when it can't be opened; faults of its text go into the context.
// What the context throws comes out of here, with parser and file closed.
bool readListFile(const std::string& path, ParserContext& context);

// The same for a file that is open, and stays so.
void parseListFile(std::FILE* file, ParserContext& context);

}  // namespace Qdx::Backend
