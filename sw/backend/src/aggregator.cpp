#include "aggregator.hpp"

#include <stdexcept>

namespace Qdx::Backend {

namespace {

const std::map<AggregationMethod, std::string> methodTexts{{AggregationMethod::Average, "average"},
                                                           {AggregationMethod::Max, "max"},
                                                           {AggregationMethod::Sum, "sum"},
                                                           {AggregationMethod::Min, "min"},
                                                           {AggregationMethod::List, "list"}};

const std::map<AggregationPeriod, std::string> periodTexts{
    {AggregationPeriod::Count, "count"}, {AggregationPeriod::Duration, "duration"}};

const std::map<TypeOfData, std::string> dataTexts{{TypeOfData::Record, "record"},
                                                  {TypeOfData::Counter, "counter"},
                                                  {TypeOfData::Measurement, "measurement"}};

}  // namespace

const std::map<AggregationMethod, std::string>& aggregationMethodTexts() {
    return methodTexts;
}

const std::map<AggregationPeriod, std::string>& aggregationPeriodTexts() {
    return periodTexts;
}

const std::map<TypeOfData, std::string>& typeOfDataTexts() {
    return dataTexts;
}

void Aggregator::feedValue(const AggregatorParamsVariant& /*params*/, time_point /*now*/,
                           const Qdx::V1::MeasurementData& /*value*/) {
    throw std::runtime_error(
        "Tried feeding a measurement to an aggregator that does not support it.");
}

void Aggregator::feedValue(const AggregatorParamsVariant& /*params*/, time_point /*now*/,
                           const Qdx::V1::CounterData& /*value*/) {
    throw std::runtime_error("Tried feeding a counter to an aggregator that does not support it.");
}

void Aggregator::feedValue(const AggregatorParamsVariant& /*params*/, time_point /*now*/,
                           const RecordData& /*value*/) {
    throw std::runtime_error("Tried feeding a record to an aggregator that does not support it.");
}

void Aggregator::feedCircle(const AggregatorParamsVariant& params, time_point now,
                            const Qdx::V1::MeasurementData& value, Circle& /*circle*/) {
    feedValue(params, now, value);
}

void Aggregator::feedCircle(const AggregatorParamsVariant& params, time_point now,
                            const Qdx::V1::CounterData& value, Circle& /*circle*/) {
    feedValue(params, now, value);
}

void Aggregator::feedCircle(const AggregatorParamsVariant& params, time_point now,
                            const RecordData& value, Circle& /*circle*/) {
    feedValue(params, now, value);
}

void Aggregator::straighten(Circle& /*circle*/) noexcept {}

}  // namespace Qdx::Backend
