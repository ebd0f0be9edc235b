#include "batchQueue.hpp"

#include <limits>
#include <new>

namespace Qdx::Frontend {
namespace {

// Not cleared: places that are never used take no memory of the system.
std::unique_ptr<unsigned char[]> allocate(std::size_t batches, std::size_t messageBytes) {
    if (batches > std::numeric_limits<std::ptrdiff_t>::max() / messageBytes) {
        throw std::bad_array_new_length();
    }
    return std::make_unique_for_overwrite<unsigned char[]>(batches * messageBytes);
}

}  // namespace

BatchQueue::BatchQueue(std::size_t batches, std::size_t messageBytes)
    : placeSize(messageBytes), memory(allocate(batches, messageBytes)), sizes(batches) {}

void BatchQueue::push(V1::BatchWriter& batch) {
    const std::size_t next = (oldest + count) % sizes.size();
    sizes[next] = batch.takeInto({place(next), placeSize});
    ++count;
}

std::span<const unsigned char> BatchQueue::front() const {
    return {place(oldest), sizes[oldest]};
}

void BatchQueue::pop() {
    oldest = (oldest + 1) % sizes.size();
    --count;
}

}  // namespace Qdx::Frontend
