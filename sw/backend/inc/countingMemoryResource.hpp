// A memory resource with a byte budget.
#pragma once

#include <map>
#include <memory>
#include <memory_resource>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace Qdx::Backend {

// Passes requests on to an upstream resource, counts what is held and refuses with std::bad_alloc
// what would exceed its budget. Chained, several of them hold one request to several limits; a
// refusal is recorded once, by the resource that refused, under the names of the whole path, and
// leaves every budget as it was. Users treat a refusal as an ordinary event.
//
// Counts bytes as requested, without alignment or the heap's own overhead; keeps nothing per block.
// The path and the failures are shared by all resources of the process without a lock: all use
// stays on one thread at a time. Destroy the containers first.
class CountingMemoryResource : public std::pmr::memory_resource {
public:
    // upstream must outlive the resource. remainingSize counts the bytes that may still be
    // allocated, and resources that share it draw on one budget; empty means no limit at this
    // level.
    CountingMemoryResource(std::pmr::memory_resource* upstream, const std::string& name,
                           std::shared_ptr<unsigned long> remainingSize);
    ~CountingMemoryResource() override;

    CountingMemoryResource(const CountingMemoryResource&) = delete;
    CountingMemoryResource& operator=(const CountingMemoryResource&) = delete;

    std::string getName() const { return name; }
    unsigned long getAllocatedSize() const { return allocatedSize; }
    unsigned long getMaxAllocatedSize() const { return maxAllocatedSize; }
    // Empty if the resource has no limit.
    std::optional<unsigned long> getRemainingSize() const;
    // Overwrites the budget, for all who share it; a resource without one gets its own. Frees
    // nothing.
    void setRemainingSize(unsigned long bytes);
    // Requests that this resource itself refused.
    unsigned long getNumFailures() const { return numFailures; }

    // Writes one line for each path that ended in a refusal, also of resources that are gone, with
    // its count.
    static void debugAll(std::ostream& os);

protected:
    void* do_allocate(unsigned long bytes, unsigned long alignment) override;
    void do_deallocate(void* p, unsigned long bytes, unsigned long alignment) override;
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override;

private:
    std::pmr::memory_resource* upstream;
    unsigned long allocatedSize = 0;
    unsigned long maxAllocatedSize = 0;
    std::string name;
    std::shared_ptr<unsigned long> remainingSize;
    unsigned long numFailures = 0;

    // Every live resource; for a debugger.
    static std::set<CountingMemoryResource*> instances;
    static std::vector<std::string> allocationPath;
    static std::map<std::vector<std::string>, unsigned long> failuresByPath;
};

}  // namespace Qdx::Backend
