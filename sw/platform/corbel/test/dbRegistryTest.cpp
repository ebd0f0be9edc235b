#include "corbel/dbRegistry.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Corbel::V1 {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

// A directory of its own for each unit root that a test makes.
class UnitRoot {
public:
    UnitRoot() {
        std::string pattern = (std::filesystem::temp_directory_path() / "corbelXXXXXX").string();
        directory = ::mkdtemp(pattern.data());
    }
    UnitRoot(const UnitRoot&) = delete;
    UnitRoot& operator=(const UnitRoot&) = delete;
    ~UnitRoot() { std::filesystem::remove_all(directory); }

    void use() const { ::setenv("UNIT_ROOT", directory.c_str(), 1); }
    std::filesystem::path operator/(const std::string& name) const { return directory / name; }
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(directory / name) << text;
    }

private:
    std::filesystem::path directory;
};

class DbRegistryTest : public ::testing::Test {
public:
    DbRegistryTest() { root.use(); }
    ~DbRegistryTest() override { ::unsetenv("UNIT_ROOT"); }

protected:
    static std::shared_ptr<DbHandleIf> open(const std::string& path = "/swdb.cfg") {
        return DbRegistryIf::getInstance().openDatabase(path);
    }
    static std::string errorOfOpening(const std::string& path = "/swdb.cfg") {
        try {
            open(path);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "no error";
    }
    static std::vector<unsigned int> levels(DbHandleIf& database) {
        std::vector<unsigned int> values;
        EXPECT_EQ(database.readUintList("/level", values), 0);
        return values;
    }
    static bool hasLevel(DbHandleIf& database) {
        std::vector<unsigned int> values;
        return database.readUintList("/level", values) == 0;
    }

    UnitRoot root;
};

TEST_F(DbRegistryTest, OpensTheFileUnderTheUnitRoot) {
    root.write("swdb.cfg", "level = 1");
    EXPECT_THAT(levels(*open()), ElementsAre(1));
}

TEST_F(DbRegistryTest, FollowsTheUnitRootAtEachOpening) {
    UnitRoot other;
    root.write("swdb.cfg", "level = 1");
    other.write("swdb.cfg", "level = 2");
    EXPECT_THAT(levels(*open()), ElementsAre(1));
    other.use();
    EXPECT_THAT(levels(*open()), ElementsAre(2));
}

TEST_F(DbRegistryTest, TakesThePathAsItStandsWithoutUnitRoot) {
    root.write("swdb.cfg", "level = 3");
    ::unsetenv("UNIT_ROOT");
    EXPECT_THAT(levels(*open(root / "swdb.cfg")), ElementsAre(3));
}

TEST_F(DbRegistryTest, MissingFileIsAnEmptyDatabase) {
    EXPECT_FALSE(hasLevel(*open()));
}

TEST_F(DbRegistryTest, MissingDirectoryIsAnEmptyDatabase) {
    EXPECT_FALSE(hasLevel(*open("/opt/srv/swdb.cfg")));
}

TEST_F(DbRegistryTest, OpenedDatabaseKeepsItsValuesWhenTheFileChanges) {
    root.write("swdb.cfg", "level = 1");
    const auto database = open();
    root.write("swdb.cfg", "level = 2");
    EXPECT_THAT(levels(*database), ElementsAre(1));
    EXPECT_THAT(levels(*open()), ElementsAre(2));
}

TEST_F(DbRegistryTest, TellsPathLineAndColumnOfAFileThatDoesNotParse) {
    root.write("swdb.cfg", "level = 1\nlevel == 2\n");
    EXPECT_THAT(
        errorOfOpening(),
        AllOf(HasSubstr((root / "swdb.cfg").string() + ", line 2, column "), Not(HasSubstr("\n"))));
}

TEST_F(DbRegistryTest, RefusesADirectoryInOneLine) {
    std::filesystem::create_directory(root / "swdb.cfg");
    EXPECT_EQ(errorOfOpening(),
              (root / "swdb.cfg").string() + ": cannot read the database: Is a directory");
}

TEST_F(DbRegistryTest, RefusesAFileThatCannotBeOpened) {
    std::filesystem::create_symlink("swdb.cfg", root / "swdb.cfg");
    EXPECT_THAT(errorOfOpening(),
                AllOf(HasSubstr((root / "swdb.cfg").string() + ": cannot read the database: "),
                      Not(HasSubstr("\n"))));
}

TEST_F(DbRegistryTest, ReadsFilesLargerThanOneRead) {
    std::string text = "# " + std::string(20000, 'x') + "\nlevel = 5\n";
    root.write("swdb.cfg", text);
    EXPECT_THAT(levels(*open()), ElementsAre(5));
}

TEST_F(DbRegistryTest, SeveralThreadsReadOneDatabase) {
    root.write("swdb.cfg", "level = [1, 2, 3]");
    const auto database = open();
    std::vector<std::thread> readers;
    readers.reserve(4);
    for (int reader = 0; reader < 4; ++reader) {
        readers.emplace_back([&database] {
            for (int round = 0; round < 1000; ++round) {
                EXPECT_THAT(levels(*database), ElementsAre(1, 2, 3));
            }
        });
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
}

}  // namespace
}  // namespace Corbel::V1
