#include "blockLedger.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace Qdx::Test {

namespace {

constexpr int wiped = 0xDD;

}  // namespace

BlockLedger::~BlockLedger() {
    EXPECT_EQ(blocks.size(), 0U) << bytesHeld << " bytes were not given back";
}

void BlockLedger::failFrom(std::size_t number, Outage outage) {
    untilFailure = number;
    failed = false;
    lasting = outage == Outage::Lasting;
}

bool BlockLedger::mustFail() {
    if (!untilFailure)
        return false;
    if (failed)
        return lasting;
    failed = (*untilFailure)-- == 0;
    return failed;
}

void* BlockLedger::do_allocate(std::size_t bytes, std::size_t alignment) {
    allocating(bytes);
    if (mustFail())
        throw std::bad_alloc();
    void* block = upstream->allocate(bytes, alignment);
    allocated(block, bytes);
    blocks.emplace(block, Block{bytes, alignment});
    bytesHeld += bytes;
    maxBytesHeld = std::max(maxBytesHeld, bytesHeld);
    ++allocationCount;
    return block;
}

void BlockLedger::do_deallocate(void* block, std::size_t bytes, std::size_t alignment) {
    deallocating(block, bytes);
    const auto entry = blocks.find(block);
    if (entry == blocks.end()) {
        ADD_FAILURE() << bytes << " bytes came back that are not out";
        return;
    }
    if (entry->second.bytes != bytes || entry->second.alignment != alignment)
        ADD_FAILURE() << "a block of " << entry->second.bytes << " bytes aligned to "
                      << entry->second.alignment << " came back as " << bytes << " aligned to "
                      << alignment;
    std::memset(block, wiped, entry->second.bytes);
    upstream->deallocate(block, entry->second.bytes, entry->second.alignment);
    bytesHeld -= entry->second.bytes;
    blocks.erase(entry);
    ++deallocationCount;
}

}  // namespace Qdx::Test
