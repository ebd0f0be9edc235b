// Gathers the results of one pull.
#pragma once

#include <chrono>
#include <memory>
#include <memory_resource>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "InfoObjectCollections.pb.h"
#include "infoObject.hpp"
#include "sampleData.hpp"

namespace Qdx::Backend {

using time_point = std::chrono::steady_clock::time_point;
using WallTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

// One moment on both clocks: what turns the steady time of samples into wall-clock time.
using ClockAnchor = std::pair<time_point, WallTime>;

// The bytes of a record, on the memory of the filter that keeps it.
using RecordData = std::vector<unsigned char, std::pmr::polymorphic_allocator<unsigned char>>;

// Samples with their times, oldest first: what aggregators keep and encoders read.
template <typename T>
using Samples = std::pmr::vector<std::pair<time_point, T>>;

// Serves one pull: create (addMetaData | addCollection)* (build | print)*. One thread at a time.
class OutputEncoderIf {
public:
    // An empty encoder on the ordinary heap.
    static std::shared_ptr<OutputEncoderIf> create(const ClockAnchor& clockAnchor);

    // The serialised InfoObjectCollections of all that was added.
    virtual std::string build() = 0;

    // Writes the tags column of a row.
    virtual void printTags(const InfoObject& object, std::stringstream& row) const = 0;

    // Writes all that was added as a table for people, of each collection the last limit rows.
    virtual void print(std::ostream& out, std::optional<unsigned int> limit) = 0;

    // Merges: fields that are set replace those added before.
    virtual void addMetaData(const Qdx::RadioMetaData& metaData) = 0;

    // Adds the samples of one info object in one context, and gives the collection, for the caller
    // to say how it was aggregated. The pointer lives as long as the encoder; null means that the
    // samples were not taken. Throws std::runtime_error when the context string (key.second) can't
    // be decoded; the collection added so far stays.
    virtual Qdx::MeasurementCollection* addCollection(
        const Samples<Qdx::V1::MeasurementData>& samples,
        const std::pair<InfoObjectId, std::string>& key) = 0;
    virtual Qdx::CounterCollection* addCollection(
        const Samples<Qdx::V1::CounterData>& samples,
        const std::pair<InfoObjectId, std::string>& key) = 0;
    virtual Qdx::RecordCollection* addCollection(
        const Samples<RecordData>& samples, const std::pair<InfoObjectId, std::string>& key) = 0;

    // Whether no collection was added yet.
    virtual bool empty() const = 0;

    virtual ~OutputEncoderIf() = default;
};

}  // namespace Qdx::Backend
