#include "filterSpec.hpp"

namespace QdxLedger {
namespace {

const char* tagOf(Kind kind) {
    switch (kind) {
        case Kind::Counter:
            return "COUNTER";
        case Kind::Record:
            return "RECORD";
        case Kind::Measurement:
            break;
    }
    return "MEASUREMENT";
}

}  // namespace

std::string textOf(const Clause& clause) {
    std::string text(nameOf(clause.method));
    text.append(" count ");
    if (clause.method != Method::List) {
        text.append(std::to_string(clause.samples)).append(" ");
    }
    return text.append(std::to_string(std::uint64_t{clause.samples} * clause.kept));
}

std::string textOf(const Statement& statement) {
    std::string text;
    if (statement.kind) {
        text.append("tags ").append(tagOf(*statement.kind)).append(" ");
    }
    if (statement.context) {
        text.append("context deviceId ").append(std::to_string(*statement.context)).append(" ");
    }
    for (const auto& clause : statement.clauses) {
        text.append(text.empty() || text.back() == ' ' ? "" : " ").append(textOf(clause));
    }
    return text;
}

bool captures(const Statement& statement, const Plan& plan, const Series& series) {
    return (!statement.kind || *statement.kind == plan.kindOf(series.object)) &&
           (!statement.context || *statement.context == series.context);
}

bool takes(const Clause& clause, Kind kind) {
    switch (clause.method) {
        case Method::List:
            return true;
        case Method::Sum:
            return kind == Kind::Counter;
        default:
            return kind == Kind::Measurement;
    }
}

bool isOf(const PulledCollection& collection, const Clause& clause) {
    const auto size = clause.method == Method::List ? clause.kept : clause.samples;
    return collection.method == clause.method && !collection.ofSeconds && collection.size == size;
}

}  // namespace QdxLedger
