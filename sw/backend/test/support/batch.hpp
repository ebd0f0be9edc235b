// Batches as a frontend writes them.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "batchWriter.hpp"

namespace Qdx::Test {

// A truthful batch; batchMessage.hpp has the ones that lie. Throws std::length_error if it would be
// larger than a message.
//
//     Batch().measurement("a:b", 5, "rfBranch=1").counter("c", 1).message()
class Batch {
public:
    Batch& measurement(const std::string& name, std::int64_t value,
                       const std::string& context = "") {
        return taken(writer.addMeasurement(name, context, {value}));
    }
    Batch& counter(const std::string& name, std::int64_t value, const std::string& context = "") {
        return taken(writer.addCounter(name, context, {value}));
    }
    Batch& record(const std::string& name, const std::vector<unsigned char>& bytes,
                  const std::string& context = "") {
        return taken(writer.addRecord(name, context, bytes));
    }

    // Empties the batch.
    V1::MessageBytes bytes() { return writer.take(); }
    std::shared_ptr<ozo_msg> message() { return {V1::toOzoMessage(bytes()), ozo_free}; }

private:
    Batch& taken(bool fits) {
        if (!fits) {
            throw std::length_error("the batch of this test is full");
        }
        return *this;
    }

    V1::BatchWriter writer{ozo_get_max_size()};
};

}  // namespace Qdx::Test
