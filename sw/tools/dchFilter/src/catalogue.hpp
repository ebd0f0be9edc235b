// The objects of an info object list file, read as the collector reads them.
#pragma once

#include <set>
#include <string>

#include "infoObject.hpp"

namespace DchFilter {

// By name. Includes are relative to the directory of the file. Throws NoInput for a file that can't
// be opened, BadInput for one that the collector would refuse.
//
// Cleans libxml2 up behind it. Tags stay declared for the next list that the process reads.
std::set<Qdx::Backend::InfoObject> readCatalogue(const std::string& path);

}  // namespace DchFilter
