// Other programs on the same batches.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "batchItems.hpp"
#include "keyTable.hpp"

namespace Qdx::Bench {

// What others would put in the collector's place: takes a batch and keeps what it keeps.
class Comparison {
public:
    virtual ~Comparison() = default;
    virtual void handle(const ozo_msg* batch) = 0;
};

// Series that are made at their first sample and found by key text from then on.
template <typename Series>
class SeriesTable {
public:
    // make gives the series of a new key.
    template <typename Make>
    Series& at(std::string_view key, Make make) {
        const auto number = table.numberOf(key);
        if (number == series.size()) {
            series.push_back(make(key));
        }
        return series[number];
    }

private:
    KeyTable table;
    std::vector<Series> series;
};

// Each stands in a file of its own and is there if its library was found.
std::unique_ptr<Comparison> makeAccumulators();
std::unique_ptr<Comparison> makePrometheusGauge();
std::unique_ptr<Comparison> makePrometheusSummary();
std::unique_ptr<Comparison> makeSqlite();
std::unique_ptr<Comparison> makeRoundRobinDatabase();

struct NamedComparison {
    std::string name;
    std::function<std::unique_ptr<Comparison>()> make;  // empty if it was not built
    std::string packages;                               // what it takes to build it
};
std::vector<NamedComparison> comparisons();

}  // namespace Qdx::Bench
