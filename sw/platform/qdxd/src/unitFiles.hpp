// What a recording has of the unit.
#pragma once

#include <string>

#include "recording/entry.hpp"

namespace Qdxd {

// The unit as it is now: its clocks, the database that the path names below $UNIT_ROOT, the info
// object list file that the database names and the files that this includes. What can't be read is
// left out.
Recording::Header readUnit(const std::string& databasePath);

}  // namespace Qdxd
