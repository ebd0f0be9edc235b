// What is known of a collector at a moment.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pull/digest.hpp"
#include "wallTime.hpp"

namespace Qdxview {

enum class FilterState {
    Collects,
    Disabled,
    Sleeps,       // as far as we know it collects nothing yet, and would if it were pulled
    Unreachable,  // other filters' names stand in the way of its name and id
};

struct FilterPicture {
    std::int64_t id = 0;
    std::string name;
    std::string tags;  // "CPU, NET"
    FilterState state = FilterState::Collects;
    std::optional<std::uint64_t> limit;  // bytes; empty for none and for one that isn't known
    std::shared_ptr<const Qdx::Pull::PullDigest> digest;  // the latest; null if there is none
    std::optional<WallTime> pulled;                       // when the digest came
    std::string note;                                     // why the latest pull gave nothing
};

// All texts are plain: fit for a terminal.
struct Picture {
    std::vector<FilterPicture> filters;        // by ascending id
    std::optional<std::uint64_t> globalLimit;  // bytes, if known
    std::string radio;                         // empty as long as no pull told it
    std::string complaint;                     // why the collector doesn't answer
    std::optional<WallTime> answered;          // its latest answer
    std::optional<WallTime> askedSince;        // of the question that waits for its answer
};

}  // namespace Qdxview
