// One collection of a pull, as a run's plan understands it.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "InfoObjectCollections.pb.h"
#include "plan.hpp"

namespace QdxLoad {

enum class Method { Min, Max, Average, Sum, List };
// "min", "max", "average", "sum" or "list".
std::string_view nameOf(Method method);

struct PulledCollection {
    Series series{};
    Method method = Method::List;
    bool ofSeconds = false;
    std::uint64_t size = 0;  // of a window in samples or seconds, or of the list
    std::string name;        // "list count 100 of load:counter:1 clientId=0,deviceId=3"
    // Numbers as they came; of each record the code that it carries.
    std::vector<std::int64_t> values;
    std::uint64_t damagedRecords = 0;  // left out of the values
};

// What a window gives for these values, with the collector's 64 bits that wrap. REQUIRES: size > 0.
std::int64_t resultOf(Method method, const std::int64_t* begin, std::uint64_t size);

// The collections of a pull, in its order by kind; for each that makes no sense one line about it
// instead.
std::vector<std::variant<PulledCollection, std::string>> collectionsOf(
    const Plan& plan, const Qdx::InfoObjectCollections& pull);

}  // namespace QdxLoad
