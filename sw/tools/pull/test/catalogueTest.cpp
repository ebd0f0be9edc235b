#include "pull/catalogue.hpp"

#include <gmock/gmock.h>

#include "errorText.hpp"
#include "pull/badData.hpp"
#include "temporaryFolder.hpp"

namespace Qdx::Pull {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CatalogueTest : public testing::Test {
protected:
    // A list file around the content of its root.
    std::string writeList(const std::string& name, const std::string& content) const {
        return folder.write(name, "<infoObjectList>\n" + content + "</infoObjectList>\n");
    }

    static std::string object(const std::string& id, const std::string& name,
                              const std::string& unit = "") {
        return "<object id=\"" + id + "\" name=\"" + name + "\" type=\"meas\">" + unit +
               "</object>\n";
    }

    static std::string objects(const std::string& content) {
        return "<objects>\n" + content + "</objects>\n";
    }

    static std::string nameOf(const Catalogue& catalogue, std::uint32_t id) {
        const auto* const found = catalogue.find(id);
        return found == nullptr ? "unknown" : found->name;
    }

    static std::string complaintAbout(const std::string& path) {
        return errorText<BadData>([&] { Catalogue::read(path); });
    }

    TemporaryFolder folder;
};

TEST_F(CatalogueTest, FindsNameUnitAndResolutionById) {
    const auto path =
        writeList("list.xml", objects(object("7", "a:b", R"(<unit type="dBm" res="0.1"/>)")));
    const auto catalogue = Catalogue::read(path);
    const auto* const found = catalogue.find(7);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->name, "a:b");
    EXPECT_EQ(found->unit, "dBm");
    EXPECT_EQ(found->resolution, "0.1");
}

TEST_F(CatalogueTest, FindsTheMessageTypeOfARecord) {
    const auto path = writeList(
        "list.xml", objects(object("7", "a", R"(<type message="M"/>)") + object("8", "b")));
    const auto catalogue = Catalogue::read(path);
    EXPECT_EQ(catalogue.find(7)->messageType, "M");
    EXPECT_EQ(catalogue.find(8)->messageType, "");
}

TEST_F(CatalogueTest, FindsTheTagsThatAreDeclared) {
    const auto path =
        writeList("list.xml", R"(<tags><tag name="B"/><tag name="A"/></tags>)" +
                                  objects(object("7", "a", "<tags>\n B  UNDECLARED A </tags>") +
                                          object("8", "b", "<tags>A\tB</tags>") +
                                          object("9", "c", "<tags>A</tags><tags>B</tags>")));
    const auto catalogue = Catalogue::read(path);
    EXPECT_THAT(catalogue.find(7)->tags, ElementsAre("A", "B"));
    EXPECT_THAT(catalogue.find(8)->tags, IsEmpty());
    EXPECT_THAT(catalogue.find(9)->tags, ElementsAre("A", "B"));
}

TEST_F(CatalogueTest, KnowsTheTagsThatAFileReadEarlierDeclared) {
    writeList("second.xml", objects(object("2", "b", "<tags>A LATER</tags>")) +
                                objects(R"(<include href="third.xml"/>)"));
    writeList("third.xml", R"(<tags><tag name="LATER"/></tags>)");
    const auto path = writeList(
        "list.xml", R"(<tags><tag name="A"/></tags>)" + objects(R"(<include href="second.xml"/>)"));
    EXPECT_THAT(Catalogue::read(path).find(2)->tags, ElementsAre("A"));
}

TEST_F(CatalogueTest, IsMadeOfObjects) {
    EXPECT_EQ(nameOf(Catalogue({{7, {"a", "", "", "", {}}}}), 7), "a");
}

TEST_F(CatalogueTest, KnowsNothingWithoutAFile) {
    EXPECT_EQ(Catalogue().find(7), nullptr);
}

TEST_F(CatalogueTest, FindsNoUnknownId) {
    EXPECT_EQ(nameOf(Catalogue::read(writeList("list.xml", objects(object("7", "a")))), 8),
              "unknown");
}

TEST_F(CatalogueTest, TakesPrototypeObjects) {
    const auto path =
        writeList("list.xml", "<prototypeObjects>" + object("7", "a") + "</prototypeObjects>");
    EXPECT_EQ(nameOf(Catalogue::read(path), 7), "a");
}

TEST_F(CatalogueTest, IgnoresObjectsElsewhere) {
    const auto path = writeList(
        "list.xml", object("1", "a") + objects("<group>" + object("2", "b") + "</group>"));
    const auto catalogue = Catalogue::read(path);
    EXPECT_EQ(nameOf(catalogue, 1), "unknown");
    EXPECT_EQ(nameOf(catalogue, 2), "unknown");
}

TEST_F(CatalogueTest, TakesElementsOfAnyNamespace) {
    const auto path = folder.write("list.xml", R"(<x:infoObjectList xmlns:x="urn:x"><x:objects>)"
                                               R"(<x:object id="7" name="a" type="meas"/>)"
                                               "</x:objects></x:infoObjectList>");
    EXPECT_EQ(nameOf(Catalogue::read(path), 7), "a");
}

TEST_F(CatalogueTest, KeepsTheFirstObjectOfAName) {
    const auto path = writeList("list.xml", objects(object("7", "a") + object("8", "a")));
    const auto catalogue = Catalogue::read(path);
    EXPECT_EQ(nameOf(catalogue, 7), "a");
    EXPECT_EQ(nameOf(catalogue, 8), "unknown");
}

TEST_F(CatalogueTest, KeepsTheLaterNameOfAnId) {
    const auto path = writeList("list.xml", objects(object("7", "b") + object("7", "a")));
    EXPECT_EQ(nameOf(Catalogue::read(path), 7), "b");
}

TEST_F(CatalogueTest, KeepsTheLaterUnitOfAnObject) {
    const auto path = writeList(
        "list.xml",
        objects(object("7", "a", R"(<unit type="W" res="1"/><unit type="mW" res="10"/>)")));
    const auto catalogue = Catalogue::read(path);
    EXPECT_EQ(catalogue.find(7)->unit, "mW");
    EXPECT_EQ(catalogue.find(7)->resolution, "10");
}

TEST_F(CatalogueTest, ReadsAnIdAsTheCollectorDoes) {
    const auto path = writeList("list.xml", objects(object("x", "none") + object(" 12z", "twelve") +
                                                    object("99999999999", "large")));
    const auto catalogue = Catalogue::read(path);
    EXPECT_EQ(nameOf(catalogue, 0), "none");
    EXPECT_EQ(nameOf(catalogue, 12), "twelve");
    EXPECT_EQ(nameOf(catalogue, 4294967295), "large");
}

TEST_F(CatalogueTest, FollowsIncludesFromTheFolderOfTheFirstFile) {
    writeList("sub/second.xml", objects(object("2", "b") + R"(<include href="third.xml"/>)"));
    writeList("third.xml", objects(object("3", "c")));
    const auto path =
        writeList("list.xml", objects(R"(<include href="sub/second.xml"/>)" + object("1", "a")));
    const auto catalogue = Catalogue::read(path);
    EXPECT_EQ(nameOf(catalogue, 1), "a");
    EXPECT_EQ(nameOf(catalogue, 2), "b");
    EXPECT_EQ(nameOf(catalogue, 3), "c");
}

TEST_F(CatalogueTest, PrefersAFilesOwnObjectsToIncludedOnes) {
    writeList("second.xml", objects(object("2", "a")));
    const auto path =
        writeList("list.xml", objects(R"(<include href="second.xml"/>)" + object("1", "a")));
    const auto catalogue = Catalogue::read(path);
    EXPECT_EQ(nameOf(catalogue, 1), "a");
    EXPECT_EQ(nameOf(catalogue, 2), "unknown");
}

TEST_F(CatalogueTest, IgnoresIncludesAmongPrototypes) {
    const auto path = writeList(
        "list.xml", R"(<prototypeObjects><include href="missing.xml"/></prototypeObjects>)");
    EXPECT_EQ(nameOf(Catalogue::read(path), 0), "unknown");
}

TEST_F(CatalogueTest, RefusesFilesThatIncludeEachOtherInACircle) {
    const auto complaint = [](const std::string& path) {
        return path + ": includes itself; the collector would never finish reading it";
    };
    const auto own =
        writeList("own.xml", objects(object("1", "a") + R"(<include href="own.xml"/>)"));
    EXPECT_EQ(complaintAbout(own), complaint(own));
    writeList("second.xml", objects(object("2", "b") + R"(<include href="list.xml"/>)"));
    const auto path =
        writeList("list.xml", objects(object("1", "a") + R"(<include href="second.xml"/>)"));
    EXPECT_EQ(complaintAbout(path), complaint(path));
}

TEST_F(CatalogueTest, TakesAFileThatIsIncludedTwice) {
    writeList("second.xml", objects(object("2", "b")));
    const std::string include = R"(<include href="second.xml"/>)";
    EXPECT_EQ(nameOf(Catalogue::read(writeList("list.xml", objects(include + include))), 2), "b");
}

TEST_F(CatalogueTest, TellsWhichIncludeIsMissing) {
    const auto path = writeList("list.xml", objects(R"(<include href="missing.xml"/>)"));
    EXPECT_EQ(errorText<NoInput>([&] { Catalogue::read(path); }),
              folder.path("missing.xml") + ": No such file or directory");
}

TEST_F(CatalogueTest, TellsTheLineOfAFaultInTheXml) {
    const auto path = folder.write("list.xml", "<infoObjectList>\n<objects>\n</infoObjectList>\n");
    const auto complaint = complaintAbout(path);
    EXPECT_EQ(complaint.rfind(path + ":3: Opening and ending tag mismatch: objects", 0), 0U)
        << complaint;
    EXPECT_EQ(complaint.find('\n'), std::string::npos);
}

TEST_F(CatalogueTest, TellsTheLineOfAnObjectWithoutName) {
    const auto path = writeList("list.xml", objects("<object id=\"1\"/>\n"));
    EXPECT_EQ(complaintAbout(path), path + ":3: object without name");
}

TEST_F(CatalogueTest, TellsTheLineOfOtherMissingAttributes) {
    const auto noId = writeList("list.xml", objects("<object name=\"a\"/>"));
    EXPECT_EQ(complaintAbout(noId), noId + ":3: object without id");
    const auto noType = writeList("list.xml", objects(object("1", "a", R"(<unit res="1"/>)")));
    EXPECT_EQ(complaintAbout(noType), noType + ":3: unit without type");
    const auto noRes = writeList("list.xml", objects(object("1", "a", R"(<unit type="W"/>)")));
    EXPECT_EQ(complaintAbout(noRes), noRes + ":3: unit without res");
    const auto noMessage = writeList("list.xml", objects(object("1", "a", "<type/>")));
    EXPECT_EQ(complaintAbout(noMessage), noMessage + ":3: type without message");
    const auto noKind = writeList("list.xml", objects(R"(<object id="1" name="a"/>)"));
    EXPECT_EQ(complaintAbout(noKind), noKind + ":3: object without type");
    const auto noTag = writeList("list.xml", "<tags><tag/></tags>");
    EXPECT_EQ(complaintAbout(noTag), noTag + ":2: tag without name");
    const auto noHref = writeList("list.xml", objects("<include/>"));
    EXPECT_EQ(complaintAbout(noHref), noHref + ":3: include without href");
}

TEST_F(CatalogueTest, TellsTheLineOfAnUnknownType) {
    const auto path = writeList("list.xml", objects(R"(<object id="1" name="a" type="level"/>)"));
    EXPECT_EQ(complaintAbout(path),
              path + ":3: object of a type that is none of meas, counter, record");
}

TEST_F(CatalogueTest, TellsTheLineOfAWarningOfTheXmlParser) {
    const auto path = writeList("list.xml", R"(<objects xmlns="relative"/>)");
    EXPECT_EQ(complaintAbout(path), path + ":2: xmlns: URI relative is not absolute");
}

TEST_F(CatalogueTest, RefusesAnotherDocument) {
    const auto path = folder.write("list.xml", "<html/>");
    EXPECT_EQ(complaintAbout(path), path + ": no info object list; its root is not infoObjectList");
}

TEST_F(CatalogueTest, RefusesAnEmptyFile) {
    const auto path = folder.write("list.xml", "");
    EXPECT_EQ(complaintAbout(path).rfind(path + ":", 0), 0U);
}

TEST_F(CatalogueTest, RefusesBytesThatAreNoText) {
    const auto path = folder.write("list.xml", std::string("\0\xFF\x01<", 4));
    EXPECT_EQ(complaintAbout(path).rfind(path + ":1: ", 0), 0U);
}

// Each entity is ten of the one before it.
TEST_F(CatalogueTest, DoesNotUnfoldEntitiesWithoutBound) {
    std::string text = "<!DOCTYPE infoObjectList [<!ENTITY e0 \"0123456789\">\n";
    for (int level = 1; level <= 12; ++level) {
        const auto inner = "&e" + std::to_string(level - 1) + ";";
        text += "<!ENTITY e" + std::to_string(level) + " \"";
        for (int copy = 0; copy < 10; ++copy) {
            text += inner;
        }
        text += "\">\n";
    }
    text +=
        R"(]><infoObjectList><objects><object id="1" name="&e12;"/></objects></infoObjectList>)";
    const auto path = folder.write("list.xml", text);
    EXPECT_EQ(complaintAbout(path).rfind(path + ":", 0), 0U);
}

TEST_F(CatalogueTest, LoadsNothingThatADocumentTypeNames) {
    const auto missing = folder.path("missing");
    const auto begin = "<!DOCTYPE infoObjectList SYSTEM \"" + missing + "\" [<!ENTITY s SYSTEM \"" +
                       missing + "\">]>\n<infoObjectList>";
    const auto unused =
        folder.write("list.xml", begin + objects(object("1", "a")) + "</infoObjectList>");
    EXPECT_EQ(nameOf(Catalogue::read(unused), 1), "a");
    const auto used = folder.write("list.xml", begin + "&s;</infoObjectList>");
    EXPECT_EQ(complaintAbout(used), used + ":2: Entity 's' not defined");
}

}  // namespace
}  // namespace Qdx::Pull
