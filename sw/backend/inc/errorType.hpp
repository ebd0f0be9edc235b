// Results of the filter registry's operations.
#pragma once

#include <cstdint>
#include <string>

namespace Qdx::Backend {

enum class ErrorType : std::int32_t {
    NoError = 0,
    MaxFiltersReached = 1,
    NotEnoughMemory = 2,
    InvalidFilterSpecs = 3,
    NoSuchFilter = 4,
    FilterDisabled = 5,
    MetaDataNotSet = 6,
    NoDataYet = 7,
};

// The text of a result for people.
std::string getErrorMsg(ErrorType error);

}  // namespace Qdx::Backend
