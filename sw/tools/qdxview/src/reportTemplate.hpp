// The page that shows pulls, without any.
#pragma once

#include <string_view>

namespace Qdxview {

// Empty if this build has none.
std::string_view reportTemplate();

}  // namespace Qdxview
