// A pull as comma-separated values, quoted as in RFC 4180.
#pragma once

#include <ostream>

#include "InfoObjectCollections.pb.h"
#include "pull/catalogue.hpp"

namespace Qdx::Pull {

inline constexpr const char* csvHeader =
    "time,id,name,tags,kind,context,value,unit,raw,aggregation,scope,size\n";

// A row for each value, in the order of the message. Rows end with a line feed.
//
//     time         "2024-05-01T10:00:00Z"; bare seconds since the epoch past the year 9999; empty
//                  for a value without timestamp. A timestamp without value has no row.
//     id           of the info object
//     name, tags, unit        of the catalogue; tags are separated by blanks
//     kind         "measurement", "counter" or "record"
//     context      "rfBranch=3,carrierId=7"
//     value        what the catalogue makes of the value: a number times its resolution, a record
//                  of a known type as JSON; else empty
//     raw          the value as it was pulled: a whole number, or the bytes of a record as base64
//     aggregation, scope, size      "max", "count", "10"; empty if the collection doesn't tell
void writeCsv(std::ostream& out, const Qdx::InfoObjectCollections& message,
              const Catalogue& catalogue);

}  // namespace Qdx::Pull
