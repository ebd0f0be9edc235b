// What a run sends: which frontends report which series, and in which order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace QdxLoad {

enum class Kind { Measurement, Counter, Record };

// "measurement", "counter" or "record".
std::string_view nameOf(Kind kind);

// Bounds of what a run can be; more would be a mistake rather than a load.
inline constexpr std::uint32_t mostFrontends = 64;
inline constexpr std::uint32_t mostObjects = 4096;
inline constexpr std::uint32_t mostContexts = 65'536;
inline constexpr std::uint64_t mostSeries = 1'000'000;
inline constexpr std::size_t smallestRecord = 16;  // code and checksum
inline constexpr std::size_t largestRecord = 60'000;

// An object in a context, as one frontend reports it. All are numbered from 0.
struct Series {
    std::uint32_t frontend;
    std::uint32_t object;
    std::uint32_t context;
    friend bool operator==(const Series&, const Series&) = default;
};

// Every frontend reports every object in every context; the context names the frontend too, so that
// no two frontends share a series. The sample with the index i of a frontend is of the series at
// i % seriesPerFrontend() in its order, so all that a frontend did is told by ranges of indexes.
struct Plan {
    std::uint32_t frontends = 1;
    std::uint32_t objects = 3;
    std::uint32_t contexts = 10;
    std::vector<Kind> kinds{Kind::Measurement, Kind::Counter, Kind::Record};  // in turn by object
    std::uint64_t seed = 1;
    std::size_t recordSize = 64;   // of the smallest
    std::size_t recordSpread = 0;  // bytes that the largest has more

    std::uint64_t seriesPerFrontend() const { return std::uint64_t{objects} * contexts; }
    std::uint64_t seriesCount() const { return frontends * seriesPerFrontend(); }
    Kind kindOf(std::uint32_t object) const { return kinds[object % kinds.size()]; }
    // Of the record with that code, see sampleCode.hpp; by the seed.
    std::size_t sizeOfRecord(std::int64_t code) const;

    // Numbers all series of the run, those of a frontend in a row. REQUIRES for seriesAt():
    // number < seriesCount().
    std::uint64_t numberOf(const Series& series) const;
    Series seriesAt(std::uint64_t number) const;

    // A round of a frontend's samples: numbers of its series, shuffled by the seed.
    std::vector<std::uint64_t> order(std::uint32_t frontend) const;

    // Empty, or one line about what is out of bounds.
    std::string fault() const;

    friend bool operator==(const Plan&, const Plan&) = default;
};

std::string objectName(const Plan& plan, std::uint32_t object);
inline std::uint32_t objectId(std::uint32_t object) {
    return object + 1;
}
std::string contextOf(const Series& series);
// Both, as people write them.
std::string describe(const Plan& plan, const Series& series);

// The info object list that the run's objects need. All carry the tag LOAD and that of their kind.
void writeObjectList(std::ostream& out, const Plan& plan);

}  // namespace QdxLoad
