// The yardstick of the sample path: the least that any collector has to do for a sample.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "batchItems.hpp"
#include "keyTable.hpp"

namespace Qdx::Bench {

// Cuts the batch into items, looks the key text up once in a flat hash table, and updates the
// minimum, maximum and sum of the series. Keeps no samples, no windows and no time, knows no
// catalogue, no filters and no budget.
class Yardstick {
public:
    void handle(const ozo_msg* batch) {
        forEachItem(batch, [this](std::string_view key, std::int64_t value) {
            const auto number = table.numberOf(key);
            if (number == series.size()) {
                series.emplace_back();
            }
            series[number].add(value);
        });
    }
    std::size_t size() const { return series.size(); }

private:
    struct Series {
        std::int64_t min = std::numeric_limits<std::int64_t>::max();
        std::int64_t max = std::numeric_limits<std::int64_t>::min();
        std::uint64_t sum = 0;
        std::uint64_t count = 0;

        void add(std::int64_t value) {
            min = std::min(min, value);
            max = std::max(max, value);
            sum += static_cast<std::uint64_t>(value);
            ++count;
        }
    };

    KeyTable table;
    std::vector<Series> series;
};

}  // namespace Qdx::Bench
