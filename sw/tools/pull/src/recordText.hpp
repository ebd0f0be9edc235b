// Records as text.
#pragma once

#include <string>
#include <string_view>

namespace Qdx::Pull {

// What a record says, in one line: its size and first bytes, "24 bytes 0a05312e00000000". The
// message type is that of the catalogue. The text may hold anything that the record held.
std::string recordText(std::string_view record, std::string_view messageType);

}  // namespace Qdx::Pull
