// An encoder that keeps what aggregators hand it.
#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "outputEncoderIf.hpp"

namespace Qdx::Test {

// One sample of a collection.
template <typename Value>
struct BasicPoint {
    std::chrono::nanoseconds at;
    Value value;

    friend bool operator==(const BasicPoint&, const BasicPoint&) = default;
    friend std::ostream& operator<<(std::ostream& out, const BasicPoint& point) {
        return out << point.value << " at " << point.at.count() << " ns";
    }
};

using Point = BasicPoint<std::int64_t>;
using RecordPoint = BasicPoint<std::string>;

// Keeps real collections, but their timestamps are nanoseconds of the samples' own clock. Context
// strings are kept aside, not decoded.
class RecordingEncoder : public Backend::OutputEncoderIf {
public:
    // From now on adds nothing, and says so with null.
    void refuse() { refusing = true; }

    const Qdx::InfoObjectCollections& collections() const { return message; }
    // The context string of each collection, in the order of adding.
    const std::vector<std::string>& contexts() const { return contextStrings; }

    // The samples of all collections, one after the other.
    std::vector<Point> points() const {
        std::vector<Point> all;
        for (const auto& collection : message.measurementcollections())
            append(collection, all);
        for (const auto& collection : message.countercollections())
            append(collection, all);
        return all;
    }

    std::vector<RecordPoint> recordPoints() const {
        std::vector<RecordPoint> all;
        for (const auto& collection : message.recordcollections())
            append(collection, all);
        return all;
    }

    std::string build() override {
        message.set_version(1);
        return message.SerializeAsString();
    }
    void printTags(const Backend::InfoObject& /*object*/,
                   std::stringstream& /*row*/) const override {}
    void print(std::ostream& out, std::optional<unsigned int> /*limit*/) override {
        out << message.ShortDebugString();
    }
    void addMetaData(const Qdx::RadioMetaData& metaData) override {
        message.mutable_radiometadata()->MergeFrom(metaData);
    }
    Qdx::MeasurementCollection* addCollection(
        const Backend::Samples<V1::MeasurementData>& samples,
        const std::pair<Backend::InfoObjectId, std::string>& key) override {
        return refusing ? nullptr : fill(message.add_measurementcollections(), samples, key);
    }
    Qdx::CounterCollection* addCollection(
        const Backend::Samples<V1::CounterData>& samples,
        const std::pair<Backend::InfoObjectId, std::string>& key) override {
        return refusing ? nullptr : fill(message.add_countercollections(), samples, key);
    }
    Qdx::RecordCollection* addCollection(
        const Backend::Samples<Backend::RecordData>& samples,
        const std::pair<Backend::InfoObjectId, std::string>& key) override {
        return refusing ? nullptr : fill(message.add_recordcollections(), samples, key);
    }
    bool empty() const override { return contextStrings.empty(); }

private:
    template <typename Collection, typename Value>
    static void append(const Collection& collection, std::vector<BasicPoint<Value>>& points) {
        for (int i = 0; i < collection.values_size(); ++i) {
            const auto time = static_cast<std::int64_t>(collection.timestamps(i));
            points.push_back({std::chrono::nanoseconds(time), collection.values(i)});
        }
    }

    template <typename Collection>
    static void addValue(Collection* collection, const Backend::RecordData& value) {
        collection->add_values(value.data(), value.size());
    }
    template <typename Collection, typename Sample>
    static void addValue(Collection* collection, const Sample& value) {
        collection->add_values(value.value);
    }

    template <typename Collection, typename Sample>
    Collection* fill(Collection* collection, const Backend::Samples<Sample>& samples,
                     const std::pair<Backend::InfoObjectId, std::string>& key) {
        contextStrings.push_back(key.second);
        collection->set_id(static_cast<std::uint32_t>(key.first));
        for (const auto& [time, value] : samples) {
            const auto nanoseconds = time.time_since_epoch().count();
            collection->add_timestamps(static_cast<std::uint64_t>(nanoseconds));
            addValue(collection, value);
        }
        return collection;
    }

    Qdx::InfoObjectCollections message;
    std::vector<std::string> contextStrings;
    bool refusing = false;
};

}  // namespace Qdx::Test
