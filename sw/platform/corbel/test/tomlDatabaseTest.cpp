#include "corbel/tomlDatabase.hpp"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace Corbel::V1 {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

// Reads one key of a text; a list that reads nonzero must be left as it was.
class Database {
public:
    explicit Database(const std::string& text) : handle(parseDatabase(text, "swdb.cfg")) {}

    std::vector<unsigned int> uints(const std::string& key) {
        std::vector<unsigned int> values;
        EXPECT_EQ(handle->readUintList(key, values), 0) << key;
        return values;
    }
    std::vector<unsigned char> bytes(const std::string& key) {
        std::vector<unsigned char> values;
        EXPECT_EQ(handle->readByteList(key, values), 0) << key;
        return values;
    }
    std::vector<std::string> strings(const std::string& key) {
        std::vector<std::string> values;
        EXPECT_EQ(handle->readStringList(key, values), 0) << key;
        return values;
    }
    std::string string(const std::string& key) {
        std::string value;
        EXPECT_EQ(handle->readString(key, value), 0) << key;
        return value;
    }

    bool missesUint(const std::string& key) {
        std::vector<unsigned int> values{7};
        const bool missed = handle->readUintList(key, values) != 0;
        EXPECT_THAT(values, ElementsAre(7));
        return missed;
    }
    bool missesByte(const std::string& key) {
        std::vector<unsigned char> values{7};
        const bool missed = handle->readByteList(key, values) != 0;
        EXPECT_THAT(values, ElementsAre(7));
        return missed;
    }
    bool missesStrings(const std::string& key) {
        std::vector<std::string> values{"kept"};
        const bool missed = handle->readStringList(key, values) != 0;
        EXPECT_THAT(values, ElementsAre("kept"));
        return missed;
    }
    bool missesString(const std::string& key) {
        std::string value = "kept";
        const bool missed = handle->readString(key, value) != 0;
        EXPECT_EQ(value, "kept");
        return missed;
    }

private:
    std::shared_ptr<DbHandleIf> handle;
};

TEST(TomlDatabaseTest, ReadsValuesUnderTheirTables) {
    Database database(R"(
[qdx]
enabled = 1
globalMemoryLimit = 2097152
infoObjectListFilePath = "/etc/list.xml"
[qdx.staticFilters]
radio = ["tags A list count 1", "tags B list count 2"]
)");
    EXPECT_THAT(database.bytes("/qdx/enabled"), ElementsAre(1));
    EXPECT_THAT(database.uints("/qdx/globalMemoryLimit"), ElementsAre(2097152));
    EXPECT_EQ(database.string("/qdx/infoObjectListFilePath"), "/etc/list.xml");
    EXPECT_THAT(database.strings("/qdx/staticFilters/radio"),
                ElementsAre("tags A list count 1", "tags B list count 2"));
}

TEST(TomlDatabaseTest, ReadsValuesAtTheRoot) {
    Database database("level = 3");
    EXPECT_THAT(database.uints("/level"), ElementsAre(3));
}

TEST(TomlDatabaseTest, ReadsSingleValueAsListOfOne) {
    Database database("text = 'one'\nnumber = 4");
    EXPECT_THAT(database.strings("/text"), ElementsAre("one"));
    EXPECT_THAT(database.uints("/number"), ElementsAre(4));
}

TEST(TomlDatabaseTest, ReadsAllValuesOfAnArrayInOrder) {
    Database database("numbers = [3, 1, 2]");
    EXPECT_THAT(database.uints("/numbers"), ElementsAre(3, 1, 2));
    EXPECT_THAT(database.bytes("/numbers"), ElementsAre(3, 1, 2));
}

TEST(TomlDatabaseTest, ReadsEmptyArrayAsEmptyListOfAnyType) {
    Database database("none = []");
    EXPECT_THAT(database.uints("/none"), IsEmpty());
    EXPECT_THAT(database.bytes("/none"), IsEmpty());
    EXPECT_THAT(database.strings("/none"), IsEmpty());
}

TEST(TomlDatabaseTest, EmptyArrayReplacesWhatTheListHeld) {
    std::vector<unsigned int> values{1, 2};
    EXPECT_EQ(parseDatabase("none = []", "")->readUintList("/none", values), 0);
    EXPECT_THAT(values, IsEmpty());
}

TEST(TomlDatabaseTest, ReadsLimitsOfByteAndUint) {
    Database database("bytes = [0, 255]\nuints = [0, 4294967295]");
    EXPECT_THAT(database.bytes("/bytes"), ElementsAre(0, 255));
    EXPECT_THAT(database.uints("/uints"), ElementsAre(0u, 4294967295u));
}

TEST(TomlDatabaseTest, MissesNumbersOutOfRange) {
    Database database(
        "byte = 256\nuint = 4294967296\nnegative = -1\nhuge = 9223372036854775807\n"
        "oneOfMany = [1, 4294967296]");
    EXPECT_TRUE(database.missesByte("/byte"));
    EXPECT_TRUE(database.missesUint("/uint"));
    EXPECT_TRUE(database.missesByte("/negative"));
    EXPECT_TRUE(database.missesUint("/negative"));
    EXPECT_TRUE(database.missesByte("/huge"));
    EXPECT_TRUE(database.missesUint("/huge"));
    EXPECT_TRUE(database.missesUint("/oneOfMany"));
}

TEST(TomlDatabaseTest, MissesValuesOfAnotherType) {
    Database database("text = '1'\nflag = true\nfloat = 1.0\nday = 1979-05-27\nnumber = 1");
    for (const auto* key : {"/text", "/flag", "/float", "/day"}) {
        EXPECT_TRUE(database.missesUint(key)) << key;
        EXPECT_TRUE(database.missesByte(key)) << key;
    }
    for (const auto* key : {"/flag", "/float", "/day", "/number"}) {
        EXPECT_TRUE(database.missesString(key)) << key;
        EXPECT_TRUE(database.missesStrings(key)) << key;
    }
}

TEST(TomlDatabaseTest, MissesArraysThatMixTypes) {
    Database database("mixed = [1, 'two']\nnested = [[1], [2]]\ntables = [{a = 1}]");
    for (const auto* key : {"/mixed", "/nested", "/tables"}) {
        EXPECT_TRUE(database.missesUint(key)) << key;
        EXPECT_TRUE(database.missesByte(key)) << key;
        EXPECT_TRUE(database.missesStrings(key)) << key;
    }
}

TEST(TomlDatabaseTest, MissesAnArrayWhereOneStringIsWanted) {
    Database database("names = ['one']\nnone = []");
    EXPECT_TRUE(database.missesString("/names"));
    EXPECT_TRUE(database.missesString("/none"));
}

TEST(TomlDatabaseTest, MissesUnknownKeysAndTables) {
    Database database("[qdx]\nenabled = 1");
    EXPECT_TRUE(database.missesUint("/qdx/disabled"));
    EXPECT_TRUE(database.missesUint("/other/enabled"));
    EXPECT_TRUE(database.missesUint("/enabled"));
    EXPECT_TRUE(database.missesUint("/qdx/Enabled"));
}

TEST(TomlDatabaseTest, MissesPathsThatNameATableOrPassThroughAValue) {
    Database database("[qdx]\nenabled = 1");
    EXPECT_TRUE(database.missesUint("/qdx"));
    EXPECT_TRUE(database.missesString("/qdx"));
    EXPECT_TRUE(database.missesStrings("/qdx"));
    EXPECT_TRUE(database.missesUint("/qdx/enabled/1"));
    EXPECT_TRUE(database.missesUint(""));
}

TEST(TomlDatabaseTest, MissesPathsWithTooFewOrTooManySlashes) {
    Database database("[qdx]\nenabled = 1");
    EXPECT_TRUE(database.missesUint("qdx/enabled"));
    EXPECT_TRUE(database.missesUint("//qdx/enabled"));
    EXPECT_TRUE(database.missesUint("/qdx//enabled"));
    EXPECT_TRUE(database.missesUint("/qdx/enabled/"));
    EXPECT_TRUE(database.missesUint("/"));
}

TEST(TomlDatabaseTest, FindsNamesOfAnyCharactersExactly) {
    Database database(R"(
[qdx.staticFilters]
"v1.2 [beta]" = "dotted"
"v1" = "plain"
"åäö\t=" = "odd"
)");
    EXPECT_EQ(database.string("/qdx/staticFilters/v1.2 [beta]"), "dotted");
    EXPECT_EQ(database.string("/qdx/staticFilters/v1"), "plain");
    EXPECT_EQ(database.string("/qdx/staticFilters/åäö\t="), "odd");
    EXPECT_TRUE(database.missesString("/qdx/staticFilters/v1.2"));
}

TEST(TomlDatabaseTest, EmptyTextHoldsNothing) {
    Database database("");
    EXPECT_TRUE(database.missesUint("/qdx/enabled"));
}

std::string errorOf(const std::string& text) {
    try {
        parseDatabase(text, "unit/swdb.cfg");
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no error";
}

TEST(TomlDatabaseTest, TellsOriginLineAndColumnOfAFault) {
    EXPECT_THAT(errorOf("[qdx]\nenabled = \n"),
                AllOf(HasSubstr("unit/swdb.cfg, line 2, column 1"), Not(HasSubstr("\n"))));
}

TEST(TomlDatabaseTest, TellsThePlaceOfATableNameThatBeginsWrong) {
    EXPECT_EQ(errorOf("[qdx]\na = 1\n  [.a]\nb = 2\n"),
              "unit/swdb.cfg, line 3, column 4: unexpected character");
    EXPECT_EQ(errorOf("[#]"), "unit/swdb.cfg, line 1, column 2: unexpected character");
    EXPECT_EQ(errorOf(std::string("[[\0", 3)),
              "unit/swdb.cfg, line 1, column 3: unexpected character");
}

TEST(TomlDatabaseTest, RefusesFaultyTextsInOneLine) {
    const std::vector<std::string> faulty{
        "a = 1\na = 2",
        "[open",
        "a = 'no end",
        "a = [1, 2",
        "a = 1 b = 2",
        "= 1",
        "a = 99999999999999999999",
        "a = '\xff\xfe'",
        "a = \"\n\"",
        std::string("a = 1\0", 6),
        "a = " + std::string(1000, '['),
        "a = [3.0, t\na = 1",
        "å = 1",
        "[å]",
    };
    for (const std::string& text : faulty) {
        EXPECT_THAT(errorOf(text), AllOf(HasSubstr("unit/swdb.cfg, line "), Not(HasSubstr("\n"))))
            << text;
    }
}

}  // namespace
}  // namespace Corbel::V1
