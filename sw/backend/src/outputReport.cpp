// The report for people: what OutputEncoderImpl prints. Its text is fixed to the character, also
// where the columns differ in form.
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/util/json_util.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <map>

#include "aggregator.hpp"
#include "carrierEvent.pb.h"
#include "infoObjectListIf.hpp"
#include "outputEncoderImpl.hpp"
#include "registerInfo.pb.h"

namespace Qdx::Backend {

namespace {

constexpr auto header =
    "\ntimestamp, name (tags), context, value, unit, aggr, aggrtype, aggrparams\n";
constexpr auto opening = "'";
constexpr auto closing = "', ";

const std::map<Qdx::AggrSubType, std::string>& aggrSubTypeTexts() {
    static const std::map<Qdx::AggrSubType, std::string> texts{
        {Qdx::COUNT, "count"},
        {Qdx::DURATION, "duration"},
    };
    return texts;
}

// What becomes of a message that can't be converted is left to the conversion.
std::string json(const google::protobuf::Message& message) {
    std::string text;
    static_cast<void>(google::protobuf::util::MessageToJsonString(message, &text));
    return text;
}

// A record that doesn't parse to its end shows what could be parsed.
template <typename Message>
std::string recordJson(const std::string& bytes) {
    Message message;
    message.ParseFromString(bytes);
    return json(message);
}

bool holds(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

// How a collection was aggregated; each kind of collection has its own set of alternatives.
struct Aggregation {
    AggregationMethod method;
    Qdx::AggrSubType subType;
    std::uint32_t size;
};

template <typename Scope>
Aggregation aggregation(AggregationMethod method, const Scope& scope) {
    return {method, scope.subtype(), scope.size()};
}

std::optional<Aggregation> aggregationOf(const Qdx::MeasurementCollection& collection) {
    switch (collection.aggr_case()) {
        case Qdx::MeasurementCollection::kMin:
            return aggregation(AggregationMethod::Min, collection.min());
        case Qdx::MeasurementCollection::kMax:
            return aggregation(AggregationMethod::Max, collection.max());
        case Qdx::MeasurementCollection::kAvg:
            return aggregation(AggregationMethod::Average, collection.avg());
        case Qdx::MeasurementCollection::kList:
            return aggregation(AggregationMethod::List, collection.list());
        case Qdx::MeasurementCollection::AGGR_NOT_SET:
            break;
    }
    return std::nullopt;
}

std::optional<Aggregation> aggregationOf(const Qdx::CounterCollection& collection) {
    switch (collection.aggr_case()) {
        case Qdx::CounterCollection::kSum:
            return aggregation(AggregationMethod::Sum, collection.sum());
        case Qdx::CounterCollection::kList:
            return aggregation(AggregationMethod::List, collection.list());
        case Qdx::CounterCollection::AGGR_NOT_SET:
            break;
    }
    return std::nullopt;
}

std::optional<Aggregation> aggregationOf(const Qdx::RecordCollection& collection) {
    if (collection.has_list()) {
        return aggregation(AggregationMethod::List, collection.list());
    }
    return std::nullopt;
}

void printValueAndUnit(const Qdx::MeasurementCollection& collection, int index,
                       const InfoObject& object, std::stringstream& row) {
    const auto resolution = std::strtod(object.getUnitRes().c_str(), nullptr);
    row << opening << static_cast<double>(collection.values(index)) * resolution << closing;
    row << opening << object.getUnitType() << closing;
}

void printValueAndUnit(const Qdx::CounterCollection& collection, int index,
                       const InfoObject& /*object*/, std::stringstream& row) {
    row << opening << collection.values(index) << closing << opening << closing;
}

void printValueAndUnit(const Qdx::RecordCollection& collection, int index, const InfoObject& object,
                       std::stringstream& row) {
    const auto type = object.getRecordType();
    const auto& bytes = collection.values(index);
    row << opening;
    if (holds(type, "CarrierEvent")) {
        row << recordJson<Qdx::Records::CarrierEvent>(bytes);
    } else if (holds(type, "RegisterInfo")) {
        row << recordJson<Qdx::Records::RegisterInfo>(bytes);
    } else {
        row << "{INVALID RECORD TYPE}";
    }
    row << closing << opening << closing;
}

void printAggregation(const std::optional<Aggregation>& aggregation, std::stringstream& row) {
    if (!aggregation) {
        row << "'INVALID', ";
        return;
    }
    row << opening << aggregationMethodTexts().at(aggregation->method) << closing;
    row << opening << aggregation->subType << closing;
    row << opening << aggregation->size << opening;
}

// The report while it is being written.
class Report {
public:
    Report(OutputEncoderImpl& source, std::ostream& destination, std::optional<unsigned int> rows)
        : encoder(source), out(destination), limit(rows) {
        // A heap that runs out must not pass for the end of a row.
        row.exceptions(std::ios::badbit);
    }

    template <typename Collections>
    void printAll(Collections& collections) {
        for (auto& collection : collections) {
            // Identities come from the catalogue, which doesn't change; one that isn't there would
            // have no name to print.
            if (const auto* object =
                    InfoObjectListIf::getInstance().getInfoObject(InfoObjectId{collection.id()})) {
                print(collection, *object);
            }
        }
    }

private:
    template <typename Collection>
    void print(Collection& collection, const InfoObject& object) {
        if (object.getId() != previous) {
            out << header;
            previous = object.getId();
        }
        for (auto index = firstRow(collection.values_size()); index < collection.values_size();
             ++index) {
            printRow(collection, index, object);
        }
    }

    // The limit keeps the last rows of each collection.
    int firstRow(int count) const {
        const auto rows = static_cast<unsigned int>(count);
        return limit && rows >= *limit ? static_cast<int>(rows - *limit) : 0;
    }

    template <typename Collection>
    void printRow(Collection& collection, int index, const InfoObject& object) {
        encoder.printTime(collection.timestamps(index), row);
        row << opening << object.getName();
        encoder.printTags(object, row);
        if (collection.has_context()) {
            encoder.printContext(*collection.mutable_context(), row);
        } else {
            row << "'{}', ";
        }
        printValueAndUnit(collection, index, object, row);
        printAggregation(aggregationOf(collection), row);
        row << "\n";
        out << row.str();
        row.str("");
        row.clear();
    }

    OutputEncoderImpl& encoder;
    std::ostream& out;
    std::optional<unsigned int> limit;
    std::stringstream row;
    InfoObjectId previous{};
};

}  // namespace

void OutputEncoderImpl::print(std::ostream& out, std::optional<unsigned int> limit) {
    // Protobuf would write of texts that aren't UTF-8 to a standard error that isn't ours.
    const google::protobuf::LogSilencer silencer;
    message.set_version(1);
    Report report(*this, out, limit);
    report.printAll(*message.mutable_measurementcollections());
    report.printAll(*message.mutable_countercollections());
    report.printAll(*message.mutable_recordcollections());
}

void OutputEncoderImpl::printTime(unsigned long seconds, std::stringstream& row) {
    const auto time = static_cast<std::time_t>(seconds);
    const auto* utc = std::gmtime(&time);  // null when the year doesn't fit
    std::array<char, 128> text{};
    if (utc != nullptr && std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", utc) != 0) {
        row << opening << text.data() << closing;
    }
}

void OutputEncoderImpl::printTags(const InfoObject& object, std::stringstream& row) const {
    row << "' (";
    auto separator = "";
    for (const auto& tag : object.getTags()) {
        row << separator << tag;
        separator = ",";
    }
    row << "), ";
}

void OutputEncoderImpl::printContext(Qdx::InfoObjectContext& context, std::stringstream& row) {
    row << opening << json(context) << closing;
}

std::ostream& operator<<(std::ostream& out, const Qdx::AggrSubType& subType) {
    const auto found = aggrSubTypeTexts().find(subType);
    if (found == aggrSubTypeTexts().end()) {
        return out << "INVALID_VALUE(" << std::to_string(static_cast<int>(subType)) << ")";
    }
    return out << found->second;
}

}  // namespace Qdx::Backend
