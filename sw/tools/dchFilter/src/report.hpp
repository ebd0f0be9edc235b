// What a filter captures of a catalogue and what that costs, for people.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

#include "filterBudget.hpp"
#include "filterCheck.hpp"

namespace DchFilter {

struct ReportOptions {
    Load load;
    std::optional<std::uint64_t> unitBudget;  // bytes of the unit's global limit
};

// Writes, for each statement, the objects that it captures and the memory of each of its
// aggregators, and then what the filter takes as a whole. 80 columns, but for texts from the file
// that are longer.
void printReport(std::ostream& out, const FilterCheck& check, const Catalogue& catalogue,
                 const ReportOptions& options);

}  // namespace DchFilter
