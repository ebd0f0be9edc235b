// What the unit's configuration tells about its collector, as far as this process may read it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Qdxview {

// The collector read it when it started: it may have been changed since.
struct UnitConfiguration {
    std::optional<std::uint64_t> globalLimit;  // bytes of all filters together
    // The filters that it prescribes, each with its limit in bytes; empty for one without limit.
    std::map<std::string, std::optional<std::uint64_t>> prescribed;
    std::string objectList;  // the path of the info object list; may be empty
};

// Without anything if the configuration can't be read.
UnitConfiguration readUnitConfiguration();

// The limit in bytes that a prescribed filter begins with: "dch", "limit 131072", "dch", ... Empty
// for 0, which is no limit.
std::optional<std::uint64_t> limitIn(const std::vector<std::string>& specification);

}  // namespace Qdxview
