#include "dbGet.hpp"

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

#include "applicationSupport.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"

namespace Qdx::Backend {

namespace {

class DbGetTest : public testing::Test {
protected:
    Qdx::Test::UnitRoot root;
};

TEST_F(DbGetTest, ReadsAByte) {
    root.writeDatabase("[qdx]\nenabled = 255\n");
    EXPECT_EQ(dbGet<unsigned char>("/qdx/enabled"), 255);
}

TEST_F(DbGetTest, ReadsAnUnsignedNumber) {
    root.writeDatabase("[qdx]\nglobalMemoryLimit = 4294967295\n");
    EXPECT_EQ(dbGet<unsigned int>("/qdx/globalMemoryLimit"), 4294967295U);
}

TEST_F(DbGetTest, ZeroIsAValue) {
    root.writeDatabase("[qdx]\nmaxFilterLimit = 0\n");
    EXPECT_EQ(dbGet<unsigned int>("/qdx/maxFilterLimit"), 0U);
}

TEST_F(DbGetTest, FirstOfSeveralValuesCounts) {
    root.writeDatabase("[qdx]\nenabled = [1, 2]\nmaxFilterLimit = [30, 40, 50]\n");
    EXPECT_EQ(dbGet<unsigned char>("/qdx/enabled"), 1);
    EXPECT_EQ(dbGet<unsigned int>("/qdx/maxFilterLimit"), 30U);
}

TEST_F(DbGetTest, AbsentKeyIsEmptyAndTracesNothing) {
    root.writeDatabase("[qdx]\n");
    Qdx::Test::TraceRecorder::instance().clear();
    EXPECT_EQ(dbGet<unsigned char>("/qdx/enabled"), std::nullopt);
    EXPECT_EQ(dbGet<unsigned int>("/qdx/maxFilterLimit"), std::nullopt);
    EXPECT_THAT(Qdx::Test::TraceRecorder::instance().lines(), testing::IsEmpty());
}

TEST_F(DbGetTest, ValueOfAnotherTypeOrRangeCountsAsAbsent) {
    root.writeDatabase("[qdx]\nenabled = 256\nmaxFilterLimit = \"ten\"\n");
    EXPECT_EQ(dbGet<unsigned char>("/qdx/enabled"), std::nullopt);
    EXPECT_EQ(dbGet<unsigned int>("/qdx/maxFilterLimit"), std::nullopt);
}

TEST_F(DbGetTest, EmptyListThrows) {
    root.writeDatabase("[qdx]\nenabled = []\nmaxFilterLimit = []\n");
    constexpr auto text = "vector::_M_range_check: __n (which is 0) >= this->size() (which is 0)";
    EXPECT_THAT([] { dbGet<unsigned char>("/qdx/enabled"); },
                testing::ThrowsMessage<std::out_of_range>(text));
    EXPECT_THAT([] { dbGet<unsigned int>("/qdx/maxFilterLimit"); },
                testing::ThrowsMessage<std::out_of_range>(text));
}

TEST_F(DbGetTest, KeepsNoShareOfTheDatabase) {
    root.writeDatabase("[qdx]\nenabled = 1\nglobalMemoryLimit = []\n");
    const std::weak_ptr<Corbel::V1::DbHandleIf> database =
        ApplicationSupport::getInstance()->getDatabase();
    EXPECT_TRUE(dbGet<unsigned char>("/qdx/enabled"));
    EXPECT_FALSE(dbGet<unsigned int>("/qdx/maxFilterLimit"));
    EXPECT_THROW(dbGet<unsigned int>("/qdx/globalMemoryLimit"), std::out_of_range);
    EXPECT_EQ(database.use_count(), 1);
    ApplicationSupport::freeInstance();
    EXPECT_TRUE(database.expired());
}

}  // namespace

}  // namespace Qdx::Backend
