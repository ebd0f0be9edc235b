// A filter as the collector makes it, fed by hand, to see what it takes of its budget.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "filter.hpp"
#include "filterMemory.hpp"
#include "globalMemory.hpp"

namespace DchFilter {

// The samples of one pair of object and context.
struct Load {
    std::chrono::nanoseconds betweenSamples = std::chrono::seconds(1);
    std::size_t recordSize = 100;  // bytes
};

class ProbeFilter {
public:
    // Throws std::bad_alloc, as the collector would refuse the filter, if it doesn't fit in the
    // limit.
    explicit ProbeFilter(const std::vector<Qdx::Backend::CaptureStatement>& statements,
                         std::optional<std::uint64_t> limit = {});

    // A sample of the object's kind. The value doesn't matter.
    void push(const Qdx::Backend::InfoObject& object, const std::string& context,
              std::chrono::nanoseconds now, std::size_t recordSize);

    // Bytes that the filter's memory counts now, and the most it ever counted.
    std::uint64_t main() { return memory.getMainResource()->getAllocatedSize(); }
    std::uint64_t mostMain() { return memory.getMainResource()->getMaxAllocatedSize(); }
    std::uint64_t content() { return memory.getContentResource()->getAllocatedSize(); }
    std::uint64_t mostContent() { return memory.getContentResource()->getMaxAllocatedSize(); }

    const Qdx::Backend::Filter& filter() const { return *probe; }

private:
    Qdx::Backend::GlobalMemory global;
    Qdx::Backend::FilterMemory memory;
    std::shared_ptr<Qdx::Backend::Filter> probe;
};

}  // namespace DchFilter
