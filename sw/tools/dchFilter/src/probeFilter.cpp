#include "probeFilter.hpp"

#include <limits>

namespace DchFilter {

using namespace Qdx::Backend;

namespace {

// As much as the percentages of a budget can be taken of.
constexpr unsigned long plenty = std::numeric_limits<unsigned long>::max() / 100;

// As long as the names that the collector gives for many years: its ids from 11 on.
constexpr const char* name = "11";

}  // namespace

ProbeFilter::ProbeFilter(const std::vector<CaptureStatement>& statements,
                         std::optional<std::uint64_t> limit)
    : global(plenty),
      memory(name, limit, &global),
      probe(std::allocate_shared<Filter>(
          std::pmr::polymorphic_allocator<Filter>(memory.getMainResource()), name, statements,
          Enabled::Yes, Static::No, Printable::No, memory.getContentResource(),
          memory.getMainResource())) {}

void ProbeFilter::push(const InfoObject& object, const std::string& context,
                       std::chrono::nanoseconds now, std::size_t recordSize) {
    const time_point time{std::chrono::duration_cast<time_point::duration>(now)};
    switch (object.getType()) {
        case InfoObjectType::Measurement:
            probe->pushMeasurement(object, context, time, {1});
            break;
        case InfoObjectType::Counter:
            probe->pushCounter(object, context, time, {1});
            break;
        case InfoObjectType::Record:
            probe->pushRecord(object, context, time, std::vector<unsigned char>(recordSize));
            break;
    }
}

}  // namespace DchFilter
