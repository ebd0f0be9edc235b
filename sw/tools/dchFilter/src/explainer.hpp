// Why the collector's parser refuses a capture statement, and what it takes without a word although
// nobody can mean it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "aggregator.hpp"

namespace DchFilter {

// Something to say about a place in a statement.
struct Remark {
    std::size_t offset;  // of the first byte meant; the text's size for what is missing at its end
    std::size_t length;  // at least 1
    std::string text;    // one line
    std::string note;    // what else would help, to be wrapped; may be empty
};

// One aggregator that a statement asks for.
struct AggregatorClause {
    Qdx::Backend::AggregationMethod method{};
    Qdx::Backend::AggregationPeriod period{};
    std::uint32_t scope = 0;  // samples or seconds of a window or list
    std::uint32_t span = 0;   // samples or seconds that the kept windows cover; 0 for a list

    bool isList() const { return method == Qdx::Backend::AggregationMethod::List; }
    // Results that are kept; 0 for a list.
    std::uint32_t windows() const { return scope == 0 ? 0 : span / scope; }
    // As a clause of a statement, without the blank in front: "max count 10 100".
    std::string text() const;
};

// What a statement asks for, as far as it can be understood.
struct Outline {
    std::string tags;     // the clause with its leading blank; empty if there is none
    std::string context;  // the same
    std::vector<AggregatorClause> aggregators;
};

struct Explanation {
    std::optional<Remark> fault;  // the first
    std::vector<Remark> warnings;
    Outline outline;
};

// Reads a statement, leading blank included, as CaptureStatement::parse does. There is a fault
// exactly if that refuses the text or throws, and it is never before the clause where that stops.
Explanation explain(const std::string& statement);

}  // namespace DchFilter
