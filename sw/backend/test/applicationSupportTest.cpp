#include "applicationSupport.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "unitRoot.hpp"

namespace Qdx {

namespace {

class ApplicationSupportTest : public testing::Test {
protected:
    std::string nameInDatabase() const {
        std::string name;
        const auto status =
            ApplicationSupport::getInstance()->getDatabase()->readString("/qdx/name", name);
        return status == 0 ? name : "(missing)";
    }

    Qdx::Test::UnitRoot root;
};

TEST_F(ApplicationSupportTest, OpensTheDatabaseOfTheUnit) {
    root.write("opt/zelvasw/srv/database/qdx/swdb.cfg", "[qdx]\nname = \"first\"\n");
    EXPECT_EQ(nameInDatabase(), "first");
}

TEST_F(ApplicationSupportTest, OpensTheFileOnce) {
    root.write("opt/zelvasw/srv/database/qdx/swdb.cfg", "[qdx]\nname = \"first\"\n");
    auto* const instance = ApplicationSupport::getInstance();
    root.write("opt/zelvasw/srv/database/qdx/swdb.cfg", "[qdx]\nname = \"second\"\n");
    EXPECT_EQ(ApplicationSupport::getInstance(), instance);
    EXPECT_EQ(nameInDatabase(), "first");
}

TEST_F(ApplicationSupportTest, OpensTheFileAnewAfterFree) {
    root.write("opt/zelvasw/srv/database/qdx/swdb.cfg", "[qdx]\nname = \"first\"\n");
    EXPECT_EQ(nameInDatabase(), "first");
    root.write("opt/zelvasw/srv/database/qdx/swdb.cfg", "[qdx]\nname = \"second\"\n");
    ApplicationSupport::freeInstance();
    EXPECT_EQ(nameInDatabase(), "second");
}

TEST_F(ApplicationSupportTest, FreeWithoutAnInstanceDoesNothing) {
    ApplicationSupport::freeInstance();
    ApplicationSupport::freeInstance();
    EXPECT_EQ(nameInDatabase(), "(missing)");
}

TEST_F(ApplicationSupportTest, HolderKeepsTheDatabaseAlive) {
    root.write("opt/zelvasw/srv/database/qdx/swdb.cfg", "[qdx]\nname = \"first\"\n");
    const auto database = ApplicationSupport::getInstance()->getDatabase();
    ApplicationSupport::freeInstance();
    std::string name;
    EXPECT_EQ(database->readString("/qdx/name", name), 0);
    EXPECT_EQ(name, "first");
}

TEST_F(ApplicationSupportTest, TriesAgainAfterAFileThatDoesNotParse) {
    root.write("opt/zelvasw/srv/database/qdx/swdb.cfg", "[qdx\n");
    EXPECT_THROW(ApplicationSupport::getInstance(), std::runtime_error);
    EXPECT_THROW(ApplicationSupport::getInstance(), std::runtime_error);
    root.write("opt/zelvasw/srv/database/qdx/swdb.cfg", "[qdx]\nname = \"mended\"\n");
    EXPECT_EQ(nameInDatabase(), "mended");
}

TEST_F(ApplicationSupportTest, AllThreadsGetOneInstance) {
    std::vector<ApplicationSupport*> seen(8);
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (auto& instance : seen) {
        threads.emplace_back([&instance] { instance = ApplicationSupport::getInstance(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(seen, testing::Each(ApplicationSupport::getInstance()));
}

}  // namespace

}  // namespace Qdx
