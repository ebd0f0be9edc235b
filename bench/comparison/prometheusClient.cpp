// The client library of Prometheus: what an instrumented process keeps for a scraper.
//
// Series are found in our own table, once: by labels, the library would take far longer. A gauge
// keeps the last value only. A summary keeps count, sum, and an estimate of three quantiles over
// the last minute. Neither keeps samples or their times.
#include <prometheus/gauge.h>
#include <prometheus/registry.h>
#include <prometheus/summary.h>

#include <chrono>
#include <random>

#include "comparison.hpp"

namespace Qdx::Bench {

namespace {

prometheus::Labels labelsOf(std::string_view key) {
    return {{"key", std::string(key)}};
}

class Gauges : public Comparison {
public:
    void handle(const ozo_msg* batch) override {
        forEachItem(batch, [this](std::string_view key, std::int64_t value) {
            auto* gauge = series.at(
                key, [this](std::string_view text) { return &family.Add(labelsOf(text)); });
            gauge->Set(static_cast<double>(value));
        });
    }

private:
    prometheus::Registry registry;
    prometheus::Family<prometheus::Gauge>& family =
        prometheus::BuildGauge().Name("sample").Register(registry);
    SeriesTable<prometheus::Gauge*> series;
};

class Summaries : public Comparison {
public:
    void handle(const ozo_msg* batch) override {
        forEachItem(batch, [this](std::string_view key, std::int64_t value) {
            auto* summary = series.at(key, [this](std::string_view text) { return create(text); });
            summary->Observe(static_cast<double>(value));
        });
    }

private:
    // A summary sorts its samples in every five hundred. Series that start with different numbers
    // of samples don't all do so at once.
    prometheus::Summary* create(std::string_view key) {
        constexpr std::size_t sortedAtOnce = 500;
        auto& summary = family.Add(labelsOf(key), quantiles, std::chrono::seconds(60), 5);
        const auto before = sortedAtOnce + random() % sortedAtOnce;
        for (std::size_t i = 0; i < before; ++i) {
            summary.Observe(static_cast<double>(static_cast<std::int64_t>(random())));
        }
        return &summary;
    }

    const prometheus::Summary::Quantiles quantiles{{0.5, 0.05}, {0.9, 0.01}, {0.99, 0.001}};
    std::mt19937_64 random{3};
    prometheus::Registry registry;
    prometheus::Family<prometheus::Summary>& family =
        prometheus::BuildSummary().Name("sample").Register(registry);
    SeriesTable<prometheus::Summary*> series;
};

}  // namespace

std::unique_ptr<Comparison> makePrometheusGauge() {
    return std::make_unique<Gauges>();
}

std::unique_ptr<Comparison> makePrometheusSummary() {
    return std::make_unique<Summaries>();
}

}  // namespace Qdx::Bench
