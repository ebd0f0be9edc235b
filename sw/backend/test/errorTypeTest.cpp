#include "errorType.hpp"

#include <gtest/gtest.h>

namespace Qdx::Backend {
namespace {

TEST(ErrorTypeTest, EveryResultHasItsText) {
    EXPECT_EQ(getErrorMsg(ErrorType::NoError), "No Error");
    EXPECT_EQ(getErrorMsg(ErrorType::MaxFiltersReached), "Maximum number of filters reached");
    EXPECT_EQ(getErrorMsg(ErrorType::NotEnoughMemory), "Not enough memory Error");
    EXPECT_EQ(getErrorMsg(ErrorType::InvalidFilterSpecs), "Invalid Filter Specs");
    EXPECT_EQ(getErrorMsg(ErrorType::NoSuchFilter), "No entry with this filterID");
    EXPECT_EQ(getErrorMsg(ErrorType::FilterDisabled), "This filter is disabled");
    EXPECT_EQ(getErrorMsg(ErrorType::MetaDataNotSet), "Meta data is not set yet");
    EXPECT_EQ(getErrorMsg(ErrorType::NoDataYet), "Not enough data yet or not enough filter memory");
}

TEST(ErrorTypeTest, ResultsKeepTheirNumbers) {
    EXPECT_EQ(static_cast<int>(ErrorType::NoError), 0);
    EXPECT_EQ(static_cast<int>(ErrorType::MaxFiltersReached), 1);
    EXPECT_EQ(static_cast<int>(ErrorType::NotEnoughMemory), 2);
    EXPECT_EQ(static_cast<int>(ErrorType::InvalidFilterSpecs), 3);
    EXPECT_EQ(static_cast<int>(ErrorType::NoSuchFilter), 4);
    EXPECT_EQ(static_cast<int>(ErrorType::FilterDisabled), 5);
    EXPECT_EQ(static_cast<int>(ErrorType::MetaDataNotSet), 6);
    EXPECT_EQ(static_cast<int>(ErrorType::NoDataYet), 7);
}

TEST(ErrorTypeTest, UnknownResultHasATextOfItsOwn) {
    EXPECT_EQ(getErrorMsg(ErrorType{8}), "Unknown error occured");
    EXPECT_EQ(getErrorMsg(ErrorType{-1}), "Unknown error occured");
}

}  // namespace
}  // namespace Qdx::Backend
