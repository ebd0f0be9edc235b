// The memory budget of the whole collector.
#pragma once

#include "countingMemoryResource.hpp"

namespace Qdx::Backend {

// main (structures) may take 70 percent of the limit, content (samples) 99, both together all of
// it.
class GlobalMemory {
public:
    // size in bytes. Must outlive every FilterMemory on it.
    explicit GlobalMemory(unsigned long size);

    CountingMemoryResource* getCommonResource() { return &common; }
    CountingMemoryResource* getMainResource() { return &main; }
    CountingMemoryResource* getContentResource() { return &content; }

private:
    CountingMemoryResource common;
    CountingMemoryResource main;
    CountingMemoryResource content;
};

}  // namespace Qdx::Backend
