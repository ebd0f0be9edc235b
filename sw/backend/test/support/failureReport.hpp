// What the memory resources of this process report about refusals.
#pragma once

#include <sstream>
#include <string>

#include "countingMemoryResource.hpp"

namespace Qdx::Test {

// The lines of the failure report that hold the name: refusals of other tests in the same process
// stay in the report for ever.
inline std::string failuresOf(const std::string& name) {
    std::stringstream report;
    Backend::CountingMemoryResource::debugAll(report);
    std::string found;
    for (std::string line; std::getline(report, line);) {
        if (line.find(name) != std::string::npos)
            found += line + "\n";
    }
    return found;
}

}  // namespace Qdx::Test
