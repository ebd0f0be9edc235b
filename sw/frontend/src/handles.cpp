#include "qdx/frontend/handles.hpp"

#include "sender.hpp"

namespace Qdx::Frontend {

Measurement::Measurement(Connection& connection, std::string_view name, std::string_view context)
    : series(&connection.sender->defineMeasurement(name, context)) {}

void Measurement::add(std::int64_t value) const noexcept {
    series->sender.addMeasurement(*series, value);
}

Counter::Counter(Connection& connection, std::string_view name, std::string_view context)
    : series(&connection.sender->defineCounter(name, context)) {}

void Counter::add(std::int64_t increment) const noexcept {
    series->sender.addCounter(*series, increment);
}

Record::Record(Connection& connection, std::string_view name, std::string_view context)
    : series(&connection.sender->defineRecord(name, context)) {}

bool Record::add(std::span<const unsigned char> payload) const noexcept {
    return series->sender.addRecord(*series, payload);
}

}  // namespace Qdx::Frontend
