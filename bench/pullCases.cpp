// A pull: from full lists and histories to the bytes, texts and rows that go out.
#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "cases.hpp"
#include "outputEncoderIf.hpp"
#include "tessel/util.hpp"
#include "workload.hpp"

namespace Qdx::Bench {

namespace {

using namespace Backend;

std::shared_ptr<OutputEncoderIf> filledEncoder(Quardex& collector) {
    auto encoder = OutputEncoderIf::create(collector.getClockAnchor());
    collector.prepareFilterData(FilterId{0}, Clear::No, encoder.get());
    return encoder;
}

std::string report(OutputEncoderIf& encoder) {
    std::ostringstream out;
    encoder.print(out, std::nullopt);
    return out.str();
}

std::size_t rowsIn(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// A figure per value is worth nothing if values are missing.
void requireAllValues(const std::string& pulled, std::size_t expected) {
    Qdx::InfoObjectCollections collections;
    std::size_t values = 0;
    if (collections.ParseFromString(pulled)) {
        for (const auto& collection : collections.measurementcollections()) {
            values += static_cast<std::size_t>(collection.values_size());
        }
    }
    if (values != expected) {
        throw std::runtime_error("a pull gave " + std::to_string(values) + " values instead of " +
                                 std::to_string(expected));
    }
}

}  // namespace

std::vector<Row> pullCases(const Settings& settings) {
    const auto series = settings.series(1000);
    const Workload work(Kind::Measurement, series);
    const auto collector = fullCollector({captureMeasurements}, work);
    const auto values = series * valuesPerSeries;
    const auto pulled = filledEncoder(*collector)->build();
    requireAllValues(pulled, values);
    const std::vector<unsigned char> bytes(pulled.begin(), pulled.end());
    const auto encoder = filledEncoder(*collector);
    const auto rows = rowsIn(report(*encoder));

    const auto ns = inTurns(
        {
            {[&] { filledEncoder(*collector)->build(); }, values},
            {[&] { Tessel::Util::Base64::encode(bytes); }, bytes.size()},
            {[&] { report(*encoder); }, rows},
        },
        settings.effort);
    return {
        {.name = "pull, per value with its time",
         .value = ns[0],
         .target = Target{Measure::Value, 30, 20}},
        {.name = "base64 of a pull, per byte", .value = ns[1]},
        {.name = "report, per row", .value = ns[2]},
    };
}

}  // namespace Qdx::Bench
