// The further files that an info object list names.
#pragma once

#include <string>
#include <vector>

namespace Qdxd {

// The names that a list file of this text includes, as the collector reads them. Of a faulty text
// some, though the collector takes none. Reads in a process of its own: the first thread of a
// process that uses libxml2 has a place in it for ever, which is for the collector's.
std::vector<std::string> includedBy(const std::string& text);

}  // namespace Qdxd
