// RRDtool's library with its files on tmpfs: one file for each series, with a hundred minima,
// maxima and averages of ten samples and the last hundred samples. That is what the collector
// keeps, but for the resolution of time: a sample counts for a second, and every update of a series
// comes a second after the one before. The series is found in our own table.
#include <rrd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "comparison.hpp"

namespace Qdx::Bench {

namespace {

constexpr std::int64_t firstTime = 1'000'000'000;  // seconds; any will do

struct Series {
    std::string file;
    std::int64_t time;
};

std::filesystem::path makeFolder() {
    const std::filesystem::path tmpfs = "/dev/shm";
    const auto parent =
        std::filesystem::exists(tmpfs) ? tmpfs : std::filesystem::temp_directory_path();
    auto pattern = (parent / "qdxBenchXXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary directory at " + pattern);
    }
    return pattern;
}

void require(int result) {
    if (result != 0) {
        const std::string reason = rrd_get_error();
        rrd_clear_error();
        throw std::runtime_error(reason);
    }
}

class RoundRobinDatabase : public Comparison {
public:
    RoundRobinDatabase() : folder(makeFolder()) {}
    ~RoundRobinDatabase() override {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    RoundRobinDatabase(const RoundRobinDatabase&) = delete;
    RoundRobinDatabase& operator=(const RoundRobinDatabase&) = delete;

    void handle(const ozo_msg* batch) override {
        forEachItem(batch, [this](std::string_view key, std::int64_t value) {
            auto& one = series.at(key, [this](std::string_view /*key*/) { return create(); });
            const auto text = std::to_string(++one.time) + ":" + std::to_string(value);
            std::array arguments{text.c_str()};
            require(rrd_update_r(one.file.c_str(), nullptr, arguments.size(), arguments.data()));
        });
    }

private:
    Series create() {
        std::array definition{"DS:value:GAUGE:10:U:U", "RRA:MIN:0:10:100", "RRA:MAX:0:10:100",
                              "RRA:AVERAGE:0:10:100", "RRA:LAST:0:1:100"};
        auto file = (folder / std::to_string(++files)).string();
        require(rrd_create_r(file.c_str(), 1, firstTime, definition.size(), definition.data()));
        return {std::move(file), firstTime};
    }

    std::filesystem::path folder;
    std::size_t files = 0;
    SeriesTable<Series> series;
};

}  // namespace

std::unique_ptr<Comparison> makeRoundRobinDatabase() {
    return std::make_unique<RoundRobinDatabase>();
}

}  // namespace Qdx::Bench
