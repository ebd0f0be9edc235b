// The shared libraries whose participants this process runs.
#pragma once

#include <string>

namespace Qdxd {

// The collector's library: beside this program, in the library directory that belongs to it, in the
// one where it is installed; failing that its bare name, for the dynamic loader to search.
std::string findCollectorLibrary();

// Loads a library for good: its code stays until the process is gone. A path to an existing file is
// taken as it is, anything else is searched for as the dynamic loader does. Throws
// std::runtime_error with one line.
void loadParticipantLibrary(const std::string& path);

}  // namespace Qdxd
