#include "errorType.hpp"

#include <map>

namespace Qdx::Backend {

namespace {

const std::map<ErrorType, std::string> errorTexts = {
    {ErrorType::NoError, "No Error"},
    {ErrorType::MaxFiltersReached, "Maximum number of filters reached"},
    {ErrorType::NotEnoughMemory, "Not enough memory Error"},
    {ErrorType::InvalidFilterSpecs, "Invalid Filter Specs"},
    {ErrorType::NoSuchFilter, "No entry with this filterID"},
    {ErrorType::FilterDisabled, "This filter is disabled"},
    {ErrorType::MetaDataNotSet, "Meta data is not set yet"},
    {ErrorType::NoDataYet, "Not enough data yet or not enough filter memory"},
};

}  // namespace

std::string getErrorMsg(ErrorType error) {
    const auto entry = errorTexts.find(error);
    return entry == errorTexts.end() ? "Unknown error occured" : entry->second;
}

}  // namespace Qdx::Backend
