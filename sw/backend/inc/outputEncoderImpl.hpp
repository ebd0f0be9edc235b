// The results of one pull, as the output format and as a report for people.
#pragma once

#include <cstdint>

#include "outputEncoderIf.hpp"

namespace Qdx::Backend {

// Holds a second copy of the values, on the ordinary heap and outside every budget, as long as it
// lives.
class OutputEncoderImpl : public OutputEncoderIf {
public:
    explicit OutputEncoderImpl(const ClockAnchor& clockAnchor);

    std::string build() override;
    void printTags(const InfoObject& object, std::stringstream& row) const override;
    void print(std::ostream& out, std::optional<unsigned int> limit) override;
    void addMetaData(const Qdx::RadioMetaData& metaData) override;
    Qdx::MeasurementCollection* addCollection(
        const Samples<Qdx::V1::MeasurementData>& samples,
        const std::pair<InfoObjectId, std::string>& key) override;
    Qdx::CounterCollection* addCollection(const Samples<Qdx::V1::CounterData>& samples,
                                          const std::pair<InfoObjectId, std::string>& key) override;
    Qdx::RecordCollection* addCollection(const Samples<RecordData>& samples,
                                         const std::pair<InfoObjectId, std::string>& key) override;
    bool empty() const override { return isEmpty; }

    // Writes the timestamp column, in UTC; nothing for a time whose year can't be told. Not for two
    // threads at a time.
    void printTime(unsigned long seconds, std::stringstream& row);
    // Writes the context column of a collection that has a context.
    void printContext(Qdx::InfoObjectContext& context, std::stringstream& row);

private:
    template <typename Collection, typename T>
    Collection* fill(Collection* collection, const Samples<T>& samples,
                     const std::pair<InfoObjectId, std::string>& key);
    std::uint64_t wallSeconds(time_point time) const;

    Qdx::InfoObjectCollections message;
    time_point steadyAnchor;
    WallTime wallAnchor;
    bool isEmpty = true;
};

// Writes "count" or "duration".
std::ostream& operator<<(std::ostream& out, const Qdx::AggrSubType& subType);

}  // namespace Qdx::Backend
