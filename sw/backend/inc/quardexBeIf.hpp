// The filter registry, as shell commands and control clients see it.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "captureStatement.hpp"
#include "errorType.hpp"
#include "filterId.hpp"

namespace Qdx::Backend {

// All operations belong to the collector's thread. Users never own the object behind the interface,
// which outlives them.
class QuardexBeIf {
public:
    // Appends the serialised collections of a filter to output. With Clear::Yes the filter drops
    // what it gave. On an error output is untouched.
    virtual ErrorType pullFilterData(FilterId id, Clear clear, std::string& output) = 0;

    // Puts the text report of a printable filter into output, of each collection the last limit
    // rows; without an id of the first printable filter. On an error output is untouched.
    virtual ErrorType printFilterData(std::optional<FilterId> id, std::optional<unsigned int> limit,
                                      std::string& output) = 0;

    virtual bool hasReachedMaxNumberOfFilters() const = 0;

    // Creates a filter with a budget of memoryLimit bytes; with 0 only the collector's own budget
    // limits it. A filter that has the id is dropped first, also when the creation then fails for
    // memory, but not when the number of filters is at its maximum.
    virtual ErrorType createFilter(const FilterId& id, const std::string& name,
                                   const std::vector<CaptureStatement>& statements,
                                   unsigned long memoryLimit, Enabled enabled, Static isStatic,
                                   Printable printable) = 0;

    // The first filter, in order of ids, whose name or decimal id is the text.
    virtual std::optional<FilterId> findFilter(const std::string& text) const = 0;

    // A listing of the printable filters, or of the others; empty if there are none.
    virtual std::optional<std::string> listFilters(Printable printable) const = 0;

    // Unknown ids are ignored. Disabling drops the collected data.
    virtual void enableFilter(const FilterId& id) = 0;
    virtual void disableFilter(const FilterId& id) = 0;

    // Write what they did to out. Static filters are neither deleted one by one nor with the
    // others, but are cleared.
    virtual void deleteFilter(FilterId id, std::ostream& out) = 0;
    virtual void deleteAllFilters(std::ostream& out) = 0;
    virtual void clearAllFilters(std::ostream& out) = 0;

protected:
    ~QuardexBeIf() = default;
};

}  // namespace Qdx::Backend
