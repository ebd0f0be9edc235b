#include "benchUnit.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "batchWriter.hpp"

namespace Qdx::Bench {

namespace {

constexpr std::size_t itemsPerBatch = 1000;

// 20 characters; the number stands in front, so that names differ early.
std::string objectName(std::size_t object) {
    auto name = std::to_string(object) + ":bench:measurement:";
    name.resize(20, 'x');
    return name;
}

class BenchUnit {
public:
    BenchUnit() {
        auto pattern = (std::filesystem::temp_directory_path() / "qdxBenchXXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary directory at " + pattern);
        }
        root = pattern;
        setenv("UNIT_ROOT", root.c_str(), 1);
        writeCatalogue();
        writeDatabase();
    }
    ~BenchUnit() {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    BenchUnit(const BenchUnit&) = delete;
    BenchUnit& operator=(const BenchUnit&) = delete;

private:
    void writeCatalogue() const {
        std::ofstream file(root / "list.xml");
        file << "<infoObjectList><tags><tag name='BENCH'/></tags><objects>";
        for (std::size_t object = 0; object < objects; ++object) {
            file << "<object id='" << object + 1 << "' name='" << objectName(object)
                 << "' type='meas'><tags>BENCH</tags></object>";
        }
        file << "</objects></infoObjectList>";
    }

    void writeDatabase() const {
        const auto path = root / "opt/zelvasw/srv/database/qdx/swdb.cfg";
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << "[qdx]\nenabled = 1\nradioObservabilityEnabled = 1\n"
                               "globalMemoryLimit = 4000000000\ninfoObjectListFilePath = '"
                            << (root / "list.xml").string() << "'\n";
    }

    std::filesystem::path root;
};

void append(V1::BatchWriter& batch, std::size_t series, std::int64_t value) {
    const auto context = "rfBranch=" + std::to_string(series % contextsPerObject) + ",carrierId=7";
    if (!batch.addMeasurement(objectName(series / contextsPerObject), context, {value})) {
        throw std::length_error("a message has no room for a batch of the benchmarks");
    }
}

std::shared_ptr<ozo_msg> messageOf(V1::BatchWriter& batch) {
    return {V1::toOzoMessage(batch.take()), ozo_free};
}

// A message with one sample of each of the series first, first + 1, ... first + count - 1.
std::shared_ptr<ozo_msg> measurementBatch(std::size_t first, std::size_t count) {
    V1::BatchWriter batch(ozo_get_max_size());
    for (auto series = first; series < first + count; ++series) {
        append(batch, series, static_cast<std::int64_t>(series * 7919));
    }
    return messageOf(batch);
}

}  // namespace

void useBenchUnit() {
    static const BenchUnit unit;
}

std::vector<std::shared_ptr<ozo_msg>> measurementBatches(std::size_t series) {
    std::vector<std::shared_ptr<ozo_msg>> batches;
    if (series == 1) {
        V1::BatchWriter batch(ozo_get_max_size());
        for (std::size_t i = 0; i < itemsPerBatch; ++i) {
            append(batch, 0, static_cast<std::int64_t>(i));
        }
        batches.push_back(messageOf(batch));
        return batches;
    }
    for (std::size_t first = 0; first < series; first += itemsPerBatch) {
        batches.push_back(measurementBatch(first, std::min(itemsPerBatch, series - first)));
    }
    return batches;
}

std::size_t samplesIn(std::size_t series) {
    return series == 1 ? itemsPerBatch : series;
}

std::unique_ptr<Backend::Quardex> collectorWith(std::size_t filters, const std::string& statement) {
    using namespace Backend;
    useBenchUnit();
    auto collector = std::make_unique<Quardex>();
    collector->allocateGlobalMemory();
    collector->determineMaxNumberOfFilters();
    auto text = " " + statement;
    const std::vector<CaptureStatement> statements{CaptureStatement::parse(text).value()};
    for (std::size_t i = 0; i < filters; ++i) {
        collector->createFilter(FilterId{static_cast<std::int64_t>(i)}, std::to_string(i),
                                statements, 0, Enabled::Yes, Static::No, Printable::No);
    }
    return collector;
}

}  // namespace Qdx::Bench
