// The port's database keeps what the service promises.
#include <gmock/gmock.h>

#include <cstdlib>

#include "corbel/dbRegistry.hpp"

namespace Corbel::V1 {
namespace {

using testing::ElementsAre;

class EnvironmentDatabase : public testing::Test {
protected:
    static std::shared_ptr<DbHandleIf> with(const char* variable, const char* value) {
        setenv(variable, value, 1);
        auto database = DbRegistryIf::getInstance().openDatabase("/somewhere");
        unsetenv(variable);
        return database;
    }

    std::vector<unsigned int> numbers{7};
    std::vector<unsigned char> bytes{7};
    std::vector<std::string> texts{"before"};
    std::string text = "before";
};

TEST_F(EnvironmentDatabase, GivesTheValueOfAKeyAlsoAsAListOfOne) {
    const auto database = with("QDX_ENABLED", "1");
    EXPECT_EQ(database->readByteList("/qdx/enabled", bytes), 0);
    EXPECT_THAT(bytes, ElementsAre(1));
    EXPECT_EQ(database->readUintList("/qdx/enabled", numbers), 0);
    EXPECT_THAT(numbers, ElementsAre(1));
    EXPECT_EQ(database->readString("/qdx/enabled", text), 0);
    EXPECT_EQ(text, "1");
}

TEST_F(EnvironmentDatabase, GivesTheElementsOfAList) {
    const auto database = with("QDX_STATICFILTERS_ALL", "dch;limit 0");
    EXPECT_EQ(database->readStringList("/qdx/staticFilters/all", texts), 0);
    EXPECT_THAT(texts, ElementsAre("dch", "limit 0"));
}

TEST_F(EnvironmentDatabase, LeavesTheResultOfAMissingKeyAlone) {
    const auto database = with("QDX_ENABLED", "1");
    EXPECT_NE(database->readUintList("/qdx/maxFilterLimit", numbers), 0);
    EXPECT_NE(database->readStringList("/qdx/maxFilterLimit", texts), 0);
    EXPECT_NE(database->readString("/qdx/maxFilterLimit", text), 0);
    EXPECT_THAT(numbers, ElementsAre(7));
    EXPECT_THAT(texts, ElementsAre("before"));
    EXPECT_EQ(text, "before");
}

TEST_F(EnvironmentDatabase, TakesAValueOfTheWrongTypeOrRangeForMissing) {
    EXPECT_NE(with("QDX_ENABLED", "yes")->readByteList("/qdx/enabled", bytes), 0);
    EXPECT_NE(with("QDX_ENABLED", "256")->readByteList("/qdx/enabled", bytes), 0);
    EXPECT_NE(with("QDX_ENABLED", "1;-1")->readByteList("/qdx/enabled", bytes), 0);
    EXPECT_THAT(bytes, ElementsAre(7));
}

TEST_F(EnvironmentDatabase, LaterChangesDoNotReachAHandle) {
    const auto database = with("QDX_ENABLED", "1");
    setenv("QDX_ENABLED", "0", 1);
    EXPECT_EQ(database->readByteList("/qdx/enabled", bytes), 0);
    EXPECT_THAT(bytes, ElementsAre(1));
    unsetenv("QDX_ENABLED");
}

}  // namespace
}  // namespace Corbel::V1
