// What the handles of a connection stand for.
#pragma once

#include <cstdint>
#include <deque>
#include <string_view>
#include <unordered_map>

#include "sampleKey.hpp"

namespace Qdx::Frontend {

class Sender;

// One name with one context. Its address is what handles hold.
struct Series {
    Sender& sender;
    const V1::SampleKey key;
    std::uint64_t carried = 0;  // of a counter: increments that were dropped; wraps as they do
};

// The series of one kind. They stay in place as the table grows. One thread.
class SeriesTable {
public:
    // The series of that key, made if there is none yet. Throws std::bad_alloc, with nothing made.
    Series& define(Sender& sender, V1::SampleKey key);

    // By SampleKey::bytes(); null if it was never defined. Allocates nothing.
    Series* find(std::string_view keyBytes) const;

private:
    std::deque<Series> all;
    std::unordered_map<std::string_view, Series*> byKey;
};

}  // namespace Qdx::Frontend
