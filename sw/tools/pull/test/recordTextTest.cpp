#include "recordText.hpp"

#include <gtest/gtest.h>

namespace Qdx::Pull {
namespace {

TEST(RecordText, TellsSizeAndFirstBytes) {
    EXPECT_EQ(recordText("", ""), "0 bytes");
    EXPECT_EQ(recordText("\x0a\xff", ""), "2 bytes 0aff");
    EXPECT_EQ(recordText("123456789", ""), "9 bytes 3132333435363738");
}

}  // namespace
}  // namespace Qdx::Pull
