#include "unitConfiguration.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "support/unitRoot.hpp"

namespace Qdxview {
namespace {

using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class UnitConfigurationTest : public testing::Test {
protected:
    void write(const std::string& toml) const {
        const auto path = unit.path() / "opt/zelvasw/srv/database/qdx/swdb.cfg";
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << toml;
    }

    TestSupport::UnitRoot unit;
};

TEST_F(UnitConfigurationTest, TellsLimitsPrescribedFiltersAndTheObjectList) {
    write(R"([qdx]
globalMemoryLimit = 4096
infoObjectListFilePath = "/list.xml"
[qdx.staticFilters]
enabledByDefault = ["overview", "free"]
disabledByDefault = ["spare", "missing"]
overview = ["dch", "limit 1024", "dch", "tags CPU list count 10"]
free = ["dch", "limit", "0", "dch", "list count 1"]
spare = ["dch", "limit", "2048", "dch", "list count 1"]
)");
    const auto configuration = readUnitConfiguration();
    EXPECT_EQ(configuration.globalLimit, 4096U);
    EXPECT_EQ(configuration.objectList, "/list.xml");
    EXPECT_THAT(configuration.prescribed,
                UnorderedElementsAre(Pair("overview", 1024U), Pair("free", std::nullopt),
                                     Pair("spare", 2048U), Pair("missing", std::nullopt)));
}

TEST_F(UnitConfigurationTest, AnUnreadableConfigurationTellsNothing) {
    for (const auto* toml : {"", "[qdx", "[qdx]\nglobalMemoryLimit = 'much'\n"}) {
        write(toml);
        const auto configuration = readUnitConfiguration();
        EXPECT_EQ(configuration.globalLimit, std::nullopt);
        EXPECT_THAT(configuration.prescribed, IsEmpty());
        EXPECT_EQ(configuration.objectList, "");
    }
}

TEST(LimitInTest, OnlyALimitClauseIsOne) {
    EXPECT_EQ(limitIn({"dch", "limit 5"}), 5U);
    EXPECT_EQ(limitIn({"limit 5"}), std::nullopt);
    EXPECT_EQ(limitIn({"dch", "dch", "limit 5"}), std::nullopt);
    EXPECT_EQ(limitIn({"dch", "limit -"}), std::nullopt);
    EXPECT_EQ(limitIn({}), std::nullopt);
}

}  // namespace
}  // namespace Qdxview
