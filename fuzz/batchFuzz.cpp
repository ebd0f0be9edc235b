// Batches of any bytes: nothing is read past a message's end, every pull can be parsed, and all
// memory comes back.
#include <functional>
#include <string>

#include "InfoObjectCollections.pb.h"
#include "batchMessage.hpp"
#include "exceptionGuard.hpp"
#include "parsedStatement.hpp"
#include "pieces.hpp"
#include "quardex.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"
#include "wireFormat.hpp"

namespace {

using namespace Qdx;
using namespace Qdx::Backend;
using Fuzz::require;

constexpr unsigned int globalMemoryLimit = 20'000;

// A unit whose objects have names that a fuzzer finds quickly.
struct Unit {
    Unit() {
        root.writeCatalogue(R"(<infoObjectList><tags><tag name="T"/></tags><objects>
            <object id="1" name="m" type="meas"><tags>T</tags></object>
            <object id="2" name="n" type="meas"/>
            <object id="3" name="c" type="counter"/>
            <object id="4" name="r" type="record"/></objects></infoObjectList>)",
                            "globalMemoryLimit = " + std::to_string(globalMemoryLimit) + "\n");
    }
    Test::UnitRoot root;
};

void guarded(const std::function<void()>& function) {
    exceptionGuard(function)();
}

// Parsed once: the regular expressions would take most of the time.
const std::vector<std::vector<CaptureStatement>>& specifications() {
    static const std::vector<std::vector<CaptureStatement>> all = {
        Test::parsedAll({"list count 3 list duration 2"}),
        Test::parsedAll(
            {"tags T min count 1 4 max duration 1 3 average count 2 4", "average duration 1 60"}),
        Test::parsedAll({"context rfBranch 1 sum count 2 6 sum duration 1 5 list count 0"}),
    };
    return all;
}

void createFilters(Quardex& collector) {
    std::int64_t id = 0;
    for (const auto& statements : specifications()) {
        collector.createFilter(FilterId{id}, "f" + std::to_string(id), statements,
                               id == 1 ? 4000 : 0, Enabled::Yes, Static::No, Printable::Yes);
        ++id;
    }
}

void checkCollections(const std::string& output) {
    InfoObjectCollections collections;
    require(collections.ParseFromString(output));
    for (const auto& collection : collections.measurementcollections()) {
        require(collection.values_size() == collection.timestamps_size());
    }
    for (const auto& collection : collections.countercollections()) {
        require(collection.values_size() == collection.timestamps_size());
    }
    for (const auto& collection : collections.recordcollections()) {
        require(collection.values_size() == collection.timestamps_size());
    }
}

void pull(Quardex& collector, std::uint8_t which) {
    const FilterId id{which % 3};
    const auto encoder = OutputEncoderIf::create({time_point{}, WallTime{}});
    guarded([&] {
        collector.prepareFilterData(id, which & 0x10 ? Clear::Yes : Clear::No, encoder.get());
    });
    checkCollections(encoder->build());
    std::string report;
    guarded([&] { collector.printFilterData(id, which, report); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Unit unit;
    Test::TraceRecorder::instance().clear();

    Quardex collector;
    collector.allocateGlobalMemory();
    collector.determineMaxNumberOfFilters();
    createFilters(collector);
    std::chrono::milliseconds now{0};
    Fuzz::forEachPiece(data, size, [&](std::uint8_t kind, std::span<const std::uint8_t> bytes) {
        now += std::chrono::milliseconds(kind * 10);
        collector.setCurrTime(time_point(now));
        const auto msg = Test::messageOf(V1::beProcessBatchesUreq, {bytes.begin(), bytes.end()});
        guarded([&] { collector.handleBeProcessBatchesUreq(msg.get()); });
        if (kind & 1) {
            pull(collector, static_cast<std::uint8_t>(kind >> 1));
        }
    });

    auto* memory = collector.getGlobalMemory()->getCommonResource();
    require(memory->getAllocatedSize() + *memory->getRemainingSize() == globalMemoryLimit);
    std::ostringstream out;
    collector.deleteAllFilters(out);
    require(memory->getAllocatedSize() == 0);
    return 0;
}
