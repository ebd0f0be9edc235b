// Batches that wait for the collector.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "batchWriter.hpp"

namespace Qdx::Frontend {

// A ring of whole messages, in memory that is taken at construction:
//
//     | message 4 | message 5 |  (free)   | message 2 | message 3 |
//                                         ^ oldest
//
// One thread.
class BatchQueue {
public:
    // Throws std::bad_alloc. REQUIRES: batches > 0.
    BatchQueue(std::size_t batches, std::size_t messageBytes);

    bool empty() const { return count == 0; }
    bool full() const { return count == sizes.size(); }
    std::size_t size() const { return count; }

    // Takes what the batch holds. REQUIRES: !full().
    void push(V1::BatchWriter& batch);
    // The oldest one. REQUIRES: !empty(), as does pop().
    std::span<const unsigned char> front() const;
    void pop();

private:
    unsigned char* place(std::size_t index) const { return memory.get() + index * placeSize; }

    const std::size_t placeSize;
    const std::unique_ptr<unsigned char[]> memory;
    std::vector<std::size_t> sizes;  // of the message in each place
    std::size_t oldest = 0;
    std::size_t count = 0;
};

}  // namespace Qdx::Frontend
