#include "countingMemoryResource.hpp"

#include <new>
#include <utility>

namespace Qdx::Backend {

std::set<CountingMemoryResource*> CountingMemoryResource::instances;
std::vector<std::string> CountingMemoryResource::allocationPath;
std::map<std::vector<std::string>, unsigned long> CountingMemoryResource::failuresByPath;

namespace {

// Keeps a name on the path while its request is under way, however the request ends.
class PathEntry {
public:
    PathEntry(std::vector<std::string>& names, const std::string& name) : path(names) {
        path.push_back(name);
    }
    ~PathEntry() { path.pop_back(); }
    PathEntry(const PathEntry&) = delete;
    PathEntry& operator=(const PathEntry&) = delete;

private:
    std::vector<std::string>& path;
};

}  // namespace

CountingMemoryResource::CountingMemoryResource(std::pmr::memory_resource* next,
                                               const std::string& ownName,
                                               std::shared_ptr<unsigned long> budget)
    : upstream(next), name(ownName), remainingSize(std::move(budget)) {
    instances.insert(this);
}

CountingMemoryResource::~CountingMemoryResource() {
    instances.erase(this);
}

std::optional<unsigned long> CountingMemoryResource::getRemainingSize() const {
    return remainingSize ? std::optional(*remainingSize) : std::nullopt;
}

void CountingMemoryResource::setRemainingSize(unsigned long bytes) {
    if (remainingSize)
        *remainingSize = bytes;
    else
        remainingSize = std::make_shared<unsigned long>(bytes);
}

void* CountingMemoryResource::do_allocate(unsigned long bytes, unsigned long alignment) {
    const PathEntry entry(allocationPath, name);
    if (remainingSize && bytes > *remainingSize) {
        ++numFailures;
        ++failuresByPath[allocationPath];
        throw std::bad_alloc();
    }
    // Counted only after the upstream has delivered: a refusal further down leaves the budgets
    // above it as they were.
    void* block = upstream->allocate(bytes, alignment);
    if (remainingSize)
        *remainingSize -= bytes;
    allocatedSize += bytes;
    if (allocatedSize > maxAllocatedSize)
        maxAllocatedSize = allocatedSize;
    return block;
}

void CountingMemoryResource::do_deallocate(void* p, unsigned long bytes, unsigned long alignment) {
    upstream->deallocate(p, bytes, alignment);
    if (remainingSize)
        *remainingSize += bytes;
    allocatedSize -= bytes;
}

bool CountingMemoryResource::do_is_equal(const std::pmr::memory_resource& other) const noexcept {
    return this == &other;
}

void CountingMemoryResource::debugAll(std::ostream& os) {
    for (const auto& [path, count] : failuresByPath) {
        os << "Number of failed allocations for path";
        for (const auto& resource : path)
            os << ' ' << resource;
        os << ": " << std::to_string(count) << std::endl;
    }
}

}  // namespace Qdx::Backend
