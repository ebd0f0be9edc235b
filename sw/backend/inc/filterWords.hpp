// The words by which filters can be named at the shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Qdx::Backend {

// Adds the name and the number of each filter in a listing of QuardexBeIf::listFilters, once if
// they are the same. A name that is no single printable word can't be typed and is left out.
void addFilterWords(std::string_view listing, std::vector<std::string>& words);

}  // namespace Qdx::Backend
