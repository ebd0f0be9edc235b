#include "outputEncoderImpl.hpp"

#include <google/protobuf/stubs/logging.h>

#include <stdexcept>

#include "infoObjectContextImpl.hpp"

namespace Qdx::Backend {

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

void addValue(Qdx::MeasurementCollection& collection, const Qdx::V1::MeasurementData& data) {
    collection.add_values(data.value);
}

void addValue(Qdx::CounterCollection& collection, const Qdx::V1::CounterData& data) {
    collection.add_values(data.value);
}

// Into an element that is there already: the library counts one that it is given before it has the
// memory for it, and when that is refused deletes it all the same in the end.
void addValue(Qdx::RecordCollection& collection, const RecordData& bytes) {
    collection.add_values()->assign(bytes.begin(), bytes.end());
}

const Qdx::InfoObjectContext& decoded(const std::string& context) {
    const auto* found = Qdx::V1::InfoObjectContextImpl::cache(context);
    if (found == nullptr) {
        throw std::runtime_error("Context string " + context + " could not be decoded.");
    }
    return *found;
}

// Room for it is taken first: the library loses a new element that it then finds no room for.
template <typename Collection>
Collection* addTo(google::protobuf::RepeatedPtrField<Collection>& collections) {
    collections.Reserve(collections.size() + 1);
    return collections.Add();
}

}  // namespace

std::shared_ptr<OutputEncoderIf> OutputEncoderIf::create(const ClockAnchor& clockAnchor) {
    return std::make_shared<OutputEncoderImpl>(clockAnchor);
}

OutputEncoderImpl::OutputEncoderImpl(const ClockAnchor& clockAnchor)
    : steadyAnchor(clockAnchor.first), wallAnchor(clockAnchor.second) {}

std::string OutputEncoderImpl::build() {
    // Protobuf would write of texts that aren't UTF-8 to a standard error that isn't ours.
    const google::protobuf::LogSilencer silencer;
    message.set_version(1);
    std::string bytes;
    message.SerializeToString(&bytes);
    return bytes;
}

void OutputEncoderImpl::addMetaData(const Qdx::RadioMetaData& metaData) {
    message.mutable_radiometadata()->MergeFrom(metaData);
}

Qdx::MeasurementCollection* OutputEncoderImpl::addCollection(
    const Samples<Qdx::V1::MeasurementData>& samples,
    const std::pair<InfoObjectId, std::string>& key) {
    isEmpty = false;
    return fill(addTo(*message.mutable_measurementcollections()), samples, key);
}

Qdx::CounterCollection* OutputEncoderImpl::addCollection(
    const Samples<Qdx::V1::CounterData>& samples, const std::pair<InfoObjectId, std::string>& key) {
    isEmpty = false;
    return fill(addTo(*message.mutable_countercollections()), samples, key);
}

Qdx::RecordCollection* OutputEncoderImpl::addCollection(
    const Samples<RecordData>& samples, const std::pair<InfoObjectId, std::string>& key) {
    isEmpty = false;
    return fill(addTo(*message.mutable_recordcollections()), samples, key);
}

template <typename Collection, typename T>
Collection* OutputEncoderImpl::fill(Collection* collection, const Samples<T>& samples,
                                    const std::pair<InfoObjectId, std::string>& key) {
    const auto& [id, context] = key;
    collection->set_id(static_cast<std::uint32_t>(id));
    if (!context.empty()) {
        const auto& place = decoded(context);  // may throw: the collection then has no context
        collection->mutable_context()->MergeFrom(place);
    }
    const auto size = static_cast<int>(samples.size());
    collection->mutable_timestamps()->Reserve(size);
    collection->mutable_values()->Reserve(size);
    for (const auto& [time, value] : samples) {
        collection->add_timestamps(wallSeconds(time));
        addValue(*collection, value);
    }
    return collection;
}

// Times wrap at 64 bits rather than overflow: a sample may carry any time.
std::uint64_t OutputEncoderImpl::wallSeconds(time_point time) const {
    const auto bits = [](const auto& point) {
        const std::chrono::nanoseconds sinceEpoch = point.time_since_epoch();
        return static_cast<std::uint64_t>(sinceEpoch.count());
    };
    const auto wall = bits(time) - bits(steadyAnchor) + bits(wallAnchor);
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(wall) / nanosecondsPerSecond);
}

}  // namespace Qdx::Backend
