// Messages as protobuf's JSON.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "InfoObjectCollections.pb.h"

namespace Qdx::Pull {

// One line, its end included. Fields that aren't set are absent, numbers of 64 bits are strings,
// records are base64: all as protobuf has it, so that any protobuf library reads the line back.
// Bytes of texts that are no UTF-8 are left out.
void writeJson(std::ostream& out, const Qdx::InfoObjectCollections& message);

// A record in one line without its end. The message type is that of the catalogue, of which the
// collector's report too looks only whether it holds "CarrierEvent" or else "RegisterInfo". Empty
// for another type, and for a record that is none of its type.
std::optional<std::string> recordJson(const std::string& record, std::string_view messageType);

}  // namespace Qdx::Pull
