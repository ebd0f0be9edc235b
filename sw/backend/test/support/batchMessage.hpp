// Batch messages byte by byte, also ones that lie.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ozo.h"

namespace Qdx::Test {

// Builds a BeProcessBatchesUreq, truthful unless told otherwise; for one that never lies there is
// batch.hpp:
//
//     BatchMessage().measurement("a:b rfBranch=1", 5).claimCounterBytes(999).message()
//
// Items land in their sections whatever the order of the calls.
class BatchMessage {
public:
    BatchMessage& measurement(const std::string& keyText, std::int64_t value);
    BatchMessage& counter(const std::string& keyText, std::int64_t value);
    BatchMessage& record(const std::string& keyText, const std::vector<unsigned char>& bytes);

    // Items whose size field says something else than their payload.
    BatchMessage& measurementOfSize(const std::string& keyText, std::uint32_t size,
                                    const std::vector<unsigned char>& payload);
    BatchMessage& counterOfSize(const std::string& keyText, std::uint32_t size,
                                const std::vector<unsigned char>& payload);
    BatchMessage& recordOfSize(const std::string& keyText, std::uint32_t size,
                               const std::vector<unsigned char>& payload);

    // Faults of the whole message.
    BatchMessage& claimMeasurementBytes(std::uint32_t bytes);
    BatchMessage& claimCounterBytes(std::uint32_t bytes);
    BatchMessage& claimRecordBytes(std::uint32_t bytes);
    BatchMessage& cutTo(std::size_t size);

    std::vector<unsigned char> bytes() const;
    std::shared_ptr<ozo_msg> message() const;

private:
    struct Section {
        std::vector<unsigned char> items;
        std::optional<std::uint32_t> claimed;
    };
    static void append(Section& section, const std::string& keyText, std::uint32_t size,
                       const std::vector<unsigned char>& payload);

    Section measurements;
    Section counters;
    Section records;
    std::optional<std::size_t> cut;
};

// A message of that number with the bytes behind its first word.
std::shared_ptr<ozo_msg> messageOf(std::uint32_t messageNumber,
                                   const std::vector<unsigned char>& behindFirstWord);

// The big-endian bytes of a number.
std::vector<unsigned char> bigEndian(std::uint32_t number);
std::vector<unsigned char> bigEndian(std::int64_t number);

}  // namespace Qdx::Test
