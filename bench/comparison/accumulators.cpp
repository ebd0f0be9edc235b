// Boost.Accumulators in Abseil's flat hash map: what one would write with ready-made parts.
//
// Of each series it keeps minimum, maximum and mean since the start, where the collector keeps
// those of a hundred windows of ten samples, and the last hundred samples with their time, as the
// collector does. It computes in floating point, because a sum of such values overflows integers.
#include <absl/container/flat_hash_map.h>
#include <absl/strings/string_view.h>

#include <boost/accumulators/accumulators.hpp>
#include <boost/accumulators/statistics/max.hpp>
#include <boost/accumulators/statistics/mean.hpp>
#include <boost/accumulators/statistics/min.hpp>
#include <boost/accumulators/statistics/stats.hpp>
#include <boost/circular_buffer.hpp>
#include <chrono>

#include "comparison.hpp"

namespace Qdx::Bench {

namespace {

namespace accumulators = boost::accumulators;
using Clock = std::chrono::steady_clock;

struct Series {
    accumulators::accumulator_set<
        double, accumulators::stats<accumulators::tag::min, accumulators::tag::max,
                                    accumulators::tag::mean>>
        statistics;
    boost::circular_buffer<std::pair<Clock::time_point, std::int64_t>> last{100};
};

class Accumulators : public Comparison {
public:
    void handle(const ozo_msg* batch) override {
        const auto now = Clock::now();
        forEachItem(batch, [&](std::string_view key, std::int64_t value) {
            auto found = table.find(absl::string_view(key.data(), key.size()));
            if (found == table.end()) {
                found = table.try_emplace(std::string(key)).first;
            }
            found->second.statistics(static_cast<double>(value));
            found->second.last.push_back({now, value});
        });
    }

private:
    absl::flat_hash_map<std::string, Series> table;
};

}  // namespace

std::unique_ptr<Comparison> makeAccumulators() {
    return std::make_unique<Accumulators>();
}

}  // namespace Qdx::Bench
