// The memory budget of one filter.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "countingMemoryResource.hpp"
#include "globalMemory.hpp"

namespace Qdx::Backend {

// A limit, not a reservation: main memory (structures) may take 70 percent of it, content (samples)
// 99, both together all of it; behind that stand the global limits. Without a limit the resources
// only count.
//
// main:    <name>.outerMain    -> <name>.innerMain    -> globalMain    -> global -> heap
// content: <name>.outerContent -> <name>.innerContent -> globalContent -> global -> heap
class FilterMemory {
public:
    // global must outlive the object.
    FilterMemory(const std::string& name, std::optional<unsigned long> maxSize,
                 GlobalMemory* global);

    CountingMemoryResource* getMainResource() { return &outerMain; }
    CountingMemoryResource* getContentResource() { return &outerContent; }
    std::optional<unsigned long> getMaxSize() const { return maxSize; }
    // Bytes of main and content now held.
    unsigned long getAllocatedSize() const;
    // Bytes of the filter's limit not yet held; empty without a limit.
    std::optional<unsigned long> getRemainingSize() const;

    // A new counter of that share of size, truncated; null for an empty size.
    static std::shared_ptr<unsigned long> partialSize(std::optional<unsigned long> size,
                                                      unsigned short percent);

private:
    std::optional<unsigned long> maxSize;
    std::shared_ptr<unsigned long> innerRemaining;
    CountingMemoryResource innerMain;
    CountingMemoryResource innerContent;
    CountingMemoryResource outerMain;
    CountingMemoryResource outerContent;
};

}  // namespace Qdx::Backend
