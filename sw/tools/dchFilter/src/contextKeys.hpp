// The keys that a context clause may name.
#pragma once

#include <string>
#include <vector>

namespace DchFilter {

// In the order of the fields of the context message.
const std::vector<std::string>& contextKeys();

}  // namespace DchFilter
