#include "filterId.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace Qdx::Backend {
namespace {

std::string text(FilterId id) {
    std::ostringstream out;
    out << id;
    return out.str();
}

TEST(FilterIdTest, PrintsInDecimal) {
    EXPECT_EQ(text(FilterId{11}), "11");
    EXPECT_EQ(text(FilterId{-1}), "-1");
    EXPECT_EQ(text(FILTERID_INIT), "9223372036854775807");
}

TEST(FilterIdTest, OrdersNumerically) {
    EXPECT_LT(FilterId{-1}, FilterId{0});
    EXPECT_LT(FilterId{9}, FilterId{10});
    EXPECT_LT(FilterId{10}, FILTERID_INIT);
}

TEST(FilterIdTest, ZeroIsYesInEveryFlag) {
    EXPECT_EQ(static_cast<int>(Enabled::Yes), 0);
    EXPECT_EQ(static_cast<int>(Enabled::No), 1);
    EXPECT_EQ(static_cast<int>(Static::Yes), 0);
    EXPECT_EQ(static_cast<int>(Static::No), 1);
    EXPECT_EQ(static_cast<int>(Printable::Yes), 0);
    EXPECT_EQ(static_cast<int>(Printable::No), 1);
    EXPECT_EQ(static_cast<int>(Clear::Yes), 0);
    EXPECT_EQ(static_cast<int>(Clear::No), 1);
}

}  // namespace
}  // namespace Qdx::Backend
